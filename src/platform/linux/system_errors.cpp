#include "platform/linux/system_errors.h"

#include <cstring>

#include "platform/shared/tbs_texts.h"

namespace vellum {

std::optional<std::string> linux_system_errors::text(os_status code) {
    const char* description = ::strerrordesc_np(static_cast<int>(code_of(code)));
    if (description == nullptr) {
        return tbs_text(code);
    }
    return description;
}

}  // namespace vellum
