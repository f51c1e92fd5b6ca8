// The entry points of the TPM Base Services (platform/tbs.h) for a machine that has no such library: plain functions
// that pass each call on to the service bound at the moment. One service is bound at a time, as one library is
// loaded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/bytes.h"
#include "platform/tbs.h"

namespace vellum {

// What stands behind the entry points. A failure leaves the outputs undefined.
class tbs_service {
  public:
    virtual ~tbs_service() = default;

    // tbs::tpm_version_12 or tbs::tpm_version_20.
    virtual tbs::result_code tpm_version(std::uint32_t& out) = 0;

    virtual tbs::result_code open_context() = 0;
    virtual tbs::result_code close_context() = 0;

    // The event log of this boot.
    virtual tbs::result_code read_log(std::vector<std::uint8_t>& out) = 0;

    // Sends one command and receives its whole response; `received` is its size in bytes.
    virtual tbs::result_code submit(byte_view command, std::span<std::uint8_t> response, std::size_t& received) = 0;
};

// Binds the service, which must stay until another one, or null, is bound.
void bind_tbs_service(tbs_service* service);

// The address of the entry point of this name; null when there is none.
void* tbs_function(const char* name);

}  // namespace vellum
