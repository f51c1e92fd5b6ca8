// The result of an operation. Results pass upward unchanged unless a caller documents otherwise;
// the raw integer appears only at the process edge, as the exit code.
#pragma once

#include <cstdint>

namespace vellum {

enum class [[nodiscard]] result : std::int32_t{
    success = 0,
    internal_failure = 1,   // a required input is null, memory exhausted, an impossible state
    transport_failure = 2,  // the host-to-firmware channel failed or delivered a malformed message
    invalid = 3,            // malformed input, an unknown value, or something looked for was not found
    refused = 4,            // the operation is possible but its safety conditions do not allow it
    check_failed = 5,       // a comparison differs or a rule is violated; some callers treat it as a warning
    io_failure = 8,         // reading, writing or hashing failed
};

constexpr bool ok(result r) {
    return r == result::success;
}

// Leaves the function with the result of the expression when that is a failure.
#define RETURN_IF_FAILED(expression)                                         \
    do {                                                                     \
        if (const auto passed_up = (expression); !::vellum::ok(passed_up)) { \
            return passed_up;                                                \
        }                                                                    \
    } while (false)

constexpr int exit_code(result r) {
    return static_cast<int>(r);
}

}  // namespace vellum
