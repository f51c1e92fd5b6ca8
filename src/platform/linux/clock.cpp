#include "platform/linux/clock.h"

#include <algorithm>
#include <ctime>

namespace vellum {
namespace {

// The day's 23:59:59 with daylight saving time in force (1) or not (0); nothing where the clock does not show it so.
std::optional<std::int64_t> last_second(const calendar_day& day, int daylight_saving) {
    std::tm local{};
    local.tm_year = day.year - 1900;
    local.tm_mon = day.month - 1;
    local.tm_mday = day.day;
    local.tm_hour = 23;
    local.tm_min = 59;
    local.tm_sec = 59;
    local.tm_isdst = daylight_saving;
    local.tm_wday = -1;  // stays so on failure; the value that tells of one is a time as well
    const std::time_t time = std::mktime(&local);
    const bool shown = local.tm_wday >= 0 && local.tm_mday == day.day && local.tm_hour == 23 && local.tm_min == 59;
    return shown ? std::optional<std::int64_t>(time) : std::nullopt;
}

}  // namespace

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

// Where the clock is set back at midnight, it shows the second twice; the day ends with the later one.
std::optional<std::int64_t> linux_clock::end_of_day(const calendar_day& day) {
    return std::max(last_second(day, 0), last_second(day, 1));
}

}  // namespace vellum
