#include "platform/linux/system_errors.h"

#include <cstring>

namespace vellum {

os_status linux_system_errors::last() {
    return os_status(last_error());
}

std::optional<std::string> linux_system_errors::text(os_status code) {
    const char* description = ::strerrordesc_np(static_cast<int>(code_of(code)));
    if (description == nullptr) {
        return std::nullopt;
    }
    return description;
}

}  // namespace vellum
