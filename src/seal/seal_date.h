// Whether a time that the firmware recorded can be true. Seconds since 1970-01-01 UTC; the present is the time of
// current_time().
#pragma once

#include <cstdint>

#include "base/result.h"

namespace vellum {

// More than the tolerance between two clocks, 60 seconds, after the present.
bool lies_in_future(std::uint32_t timestamp);

// Checks a time of sealing. Fails with check_failed and pushes the reason when it lies in the future or the present
// no longer fits 32 bits.
result check_seal_date(std::uint32_t timestamp);

}  // namespace vellum
