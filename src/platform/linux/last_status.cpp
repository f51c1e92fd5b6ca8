#include "platform/last_status.h"

#include <cerrno>

namespace vellum {

os_status last_status() {
    return os_status(static_cast<std::uint32_t>(errno));
}

}  // namespace vellum
