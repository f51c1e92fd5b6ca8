// Times as text. Each takes seconds since 1970-01-01 UTC; a time that cannot be shown is logged and yields nothing.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace vellum {

// The wall-clock time at an offset in seconds east of UTC, still followed by "UTC".
std::optional<std::string> local_time_string(std::int64_t epoch_seconds, std::int32_t utc_offset);

// The calendar's parts of a time, from any thread; logs nothing. Nothing, with the reason in errno, for one that has
// no day.
std::optional<std::tm> utc_calendar(std::int64_t epoch_seconds);

std::optional<std::string> utc_time_string(std::int64_t epoch_seconds);
std::optional<std::string> utc_iso_string(std::int64_t epoch_seconds);  // "YYYY-MM-DDThh:mm:ssZ"

}  // namespace vellum
