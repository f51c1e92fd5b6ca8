#include "platform/windows/clock.h"

#include <ctime>

namespace vellum {

std::int64_t windows_clock::now() {
    return ::_time64(nullptr);
}

// The local time of now, read back as if it were UTC.
std::int32_t windows_clock::utc_offset() {
    const __time64_t now = ::_time64(nullptr);
    std::tm local{};
    if (::_localtime64_s(&local, &now) != 0) {
        return 0;
    }
    const __time64_t as_utc = ::_mkgmtime64(&local);
    return as_utc == -1 ? 0 : static_cast<std::int32_t>(as_utc - now);
}

}  // namespace vellum
