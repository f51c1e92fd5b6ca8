#include "platform/linux/system_errors.h"

#include <cerrno>
#include <cstring>

namespace vellum {

std::uint32_t linux_system_errors::last() {
    return static_cast<std::uint32_t>(errno);
}

std::optional<std::string> linux_system_errors::text(std::uint32_t code) {
    const char* description = ::strerrordesc_np(static_cast<int>(code));
    if (description == nullptr) {
        return std::nullopt;
    }
    return description;
}

}  // namespace vellum
