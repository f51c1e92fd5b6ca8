// Dates of a PMF: 32-bit BCD values laid out as 0xYYYYMMDD, days of the local calendar.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/clock.h"

namespace vellum {

using pmf_date = calendar_day;

// The numbers that the digits make, whether or not the calendar has such a day. A digit above 9 counts as it stands.
pmf_date decode_pmf_date(std::uint32_t bcd);

// Whether all digits are decimal and the calendar has the day, from the year 1900 on.
bool valid_pmf_date(std::uint32_t bcd);

// The last second of the day by the local clock, 23:59:59, in seconds since 1970-01-01 UTC; nothing for a date that
// is not valid, or of which the system cannot tell.
std::optional<std::int64_t> pmf_expiry_instant(std::uint32_t bcd, clock& time);

}  // namespace vellum
