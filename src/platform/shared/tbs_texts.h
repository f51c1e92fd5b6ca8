// The texts of the TPM Base Services' codes, for a system whose own table of texts lacks them.
#pragma once

#include <optional>
#include <string>

#include "base/os_status.h"
#include "platform/tbs.h"

namespace vellum {

inline std::optional<std::string> tbs_text(os_status status) {
    switch (code_of(status)) {
        case tbs::internal_error: return "An internal software error has been detected.";
        case tbs::bad_parameter: return "One or more input parameters is bad.";
        case tbs::insufficient_buffer: return "The output buffer is too small.";
        case tbs::io_error: return "An error occurred while communicating with the TPM.";
        case tbs::service_not_running: return "The TPM service is not running.";
        case tbs::tpm_not_found:
            return "A compatible Trusted Platform Module (TPM) Security Device cannot be found on this computer.";
        default: return std::nullopt;
    }
}

}  // namespace vellum
