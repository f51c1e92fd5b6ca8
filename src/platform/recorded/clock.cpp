#include "platform/recorded/clock.h"

namespace vellum {
namespace {

// The zone's text has two digits for the hours. Seconds.
constexpr std::int32_t max_utc_offset = 359'999;

}  // namespace

result recorded_clock::load(record_directory& record) {
    result loaded = record.read_number("now", now_);
    if (ok(loaded)) {
        loaded = record.read_number("timezone", utc_offset_);
    }
    const bool in_range = !utc_offset_ || (*utc_offset_ >= -max_utc_offset && *utc_offset_ <= max_utc_offset);
    return in_range ? loaded : record.malformed("timezone", "is out of range");
}

std::optional<std::int64_t> recorded_clock::end_of_day(const calendar_day& day) {
    return utc_offset_ ? end_of_day_at(*utc_offset_, day) : native_.end_of_day(day);
}

}  // namespace vellum
