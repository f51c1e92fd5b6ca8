// The time of day and the local time zone.
#pragma once

#include <cstdint>
#include <optional>

#include "base/text.h"

namespace vellum {

// A day of the Gregorian calendar, whether or not the calendar has it.
struct calendar_day {
    int year = 0;
    int month = 0;  // from 1
    int day = 0;    // from 1
};

class clock {
  public:
    virtual ~clock() = default;

    // Seconds since 1970-01-01 00:00:00 UTC.
    virtual std::int64_t now() = 0;

    // The zone's offset in seconds east of UTC at this moment, daylight saving included.
    virtual std::int32_t utc_offset() = 0;

    // The last second, 23:59:59, of a day that the calendar has, by the rules that the zone has for that day. Seconds
    // since 1970-01-01 00:00:00 UTC; nothing when the system cannot tell.
    virtual std::optional<std::int64_t> end_of_day(const calendar_day& day) = 0;
};

// The same in a zone that always has the offset.
inline std::optional<std::int64_t> end_of_day_at(std::int32_t utc_offset, const calendar_day& day) {
    constexpr std::int64_t last_second = 24 * 60 * 60 - 1;
    const auto midnight =
        utc_seconds_of_day(day.year, static_cast<unsigned>(day.month), static_cast<unsigned>(day.day));
    return midnight ? std::optional(*midnight + last_second - utc_offset) : std::nullopt;
}

}  // namespace vellum
