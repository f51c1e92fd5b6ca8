// The way to a TPM through the TPM software stack: a transmission interface (TCTI) chosen by a configuration such as
// "device:/dev/tpmrm0" or "swtpm:host=127.0.0.1,port=2321". Each system's folder makes its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/bytes.h"
#include "platform/tbs.h"

namespace vellum {

// Closed when destroyed.
class tpm_channel {
  public:
    virtual ~tpm_channel() = default;

    // Sends one command and receives its whole response, waiting no longer than ten seconds; after a failure the
    // channel is good for nothing more.
    virtual tbs::result_code exchange(byte_view command, std::span<std::uint8_t> response, std::size_t& received) = 0;
};

// Opens a channel; null when the interface cannot be loaded or does not reach a TPM within the same time. `problem`
// is then what there is to say of it, if anything.
std::unique_ptr<tpm_channel> open_tpm_channel(const std::string& configuration, std::string& problem);

}  // namespace vellum
