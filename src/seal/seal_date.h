// Whether a time that the firmware recorded can be true. Seconds since 1970-01-01 UTC; so is the present.
#pragma once

#include <cstdint>

#include "base/result.h"

namespace vellum {

// More than the tolerance between two clocks, 60 seconds, after the present.
bool lies_in_future(std::uint32_t timestamp, std::int64_t now);

// Checks a time of sealing. Fails with check_failed and raises the reason when it lies in the future or the present
// no longer fits 32 bits.
result check_seal_date(std::uint32_t timestamp, std::int64_t now);

}  // namespace vellum
