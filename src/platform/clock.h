// The time of day and the local time zone.
#pragma once

#include <cstdint>

namespace vellum {

class clock {
  public:
    virtual ~clock() = default;

    // Seconds since 1970-01-01 00:00:00 UTC.
    virtual std::int64_t now() = 0;

    // The zone's offset in seconds east of UTC at this moment, daylight saving included.
    virtual std::int32_t utc_offset() = 0;
};

}  // namespace vellum
