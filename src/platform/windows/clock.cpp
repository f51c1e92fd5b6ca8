#include "platform/windows/clock.h"

#include <windows.h>

#include <ctime>

namespace vellum {
namespace {

// The system counts in tenths of a microsecond from 1601-01-01 UTC.
constexpr std::uint64_t ticks_per_second = 10'000'000;
constexpr std::int64_t seconds_from_1601_to_1970 = 11'644'473'600;

}  // namespace

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

// The C library would apply this year's rules to every year.
std::optional<std::int64_t> windows_clock::end_of_day(const calendar_day& day) {
    SYSTEMTIME local{};
    local.wYear = static_cast<WORD>(day.year);
    local.wMonth = static_cast<WORD>(day.month);
    local.wDay = static_cast<WORD>(day.day);
    local.wHour = 23;
    local.wMinute = 59;
    local.wSecond = 59;
    TIME_ZONE_INFORMATION zone{};
    SYSTEMTIME utc{};
    FILETIME ticks{};
    const bool known = ::GetTimeZoneInformationForYear(local.wYear, nullptr, &zone) != FALSE &&
                       ::TzSpecificLocalTimeToSystemTime(&zone, &local, &utc) != FALSE &&
                       ::SystemTimeToFileTime(&utc, &ticks) != FALSE;
    if (!known) {
        return std::nullopt;
    }
    const std::uint64_t since_1601 = (std::uint64_t{ticks.dwHighDateTime} << 32) | ticks.dwLowDateTime;
    return static_cast<std::int64_t>(since_1601 / ticks_per_second) - seconds_from_1601_to_1970;
}

}  // namespace vellum
