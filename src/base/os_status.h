// How a call of the operating system ended, in the system's own codes.
#pragma once

#include <cstdint>

namespace vellum {

// 0 for success, else the code whose text system_errors knows.
enum class [[nodiscard]] os_status : std::uint32_t{success = 0};

constexpr bool ok(os_status status) {
    return status == os_status::success;
}

constexpr std::uint32_t code_of(os_status status) {
    return static_cast<std::uint32_t>(status);
}

}  // namespace vellum
