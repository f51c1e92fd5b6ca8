#include "platform/linux/clock.h"

#include <ctime>

namespace vellum {

std::int64_t linux_clock::now() {
    return std::time(nullptr);
}

std::int32_t linux_clock::utc_offset() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (::localtime_r(&now, &local) == nullptr) {
        return 0;
    }
    return static_cast<std::int32_t>(local.tm_gmtoff);
}

}  // namespace vellum
