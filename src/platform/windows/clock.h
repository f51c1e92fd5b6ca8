// The system's clock and time zone.
#pragma once

#include "platform/clock.h"

namespace vellum {

class windows_clock final : public clock {
  public:
    std::int64_t now() override;
    std::int32_t utc_offset() override;
    std::optional<std::int64_t> end_of_day(const calendar_day& day) override;
};

}  // namespace vellum
