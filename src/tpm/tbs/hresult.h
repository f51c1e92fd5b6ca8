// What the operations of the TPM access layer end with.
#pragma once

#include <cstdint>

namespace vellum {

// Failures are negative.
enum class hresult : std::int32_t {
    success = 0,
    failure = static_cast<std::int32_t>(0x80004005),
    invalid_argument = static_cast<std::int32_t>(0x80070057),
};

}  // namespace vellum
