#include "platform/linux/system_errors.h"

#include <cstring>

namespace vellum {

std::uint32_t linux_system_errors::last() {
    return last_error();
}

std::optional<std::string> linux_system_errors::text(std::uint32_t code) {
    const char* description = ::strerrordesc_np(static_cast<int>(code));
    if (description == nullptr) {
        return std::nullopt;
    }
    return description;
}

}  // namespace vellum
