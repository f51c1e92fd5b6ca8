// Stands still at the time of the file `now`; the zone is that of the file `timezone`, which has no seasons. Each
// falls back to the native clock.
#pragma once

#include <optional>

#include "platform/clock.h"
#include "platform/recorded/record_directory.h"

namespace vellum {

class recorded_clock final : public clock {
  public:
    explicit recorded_clock(clock& native) : native_(native) {}

    result load(record_directory& record);

    std::int64_t now() override { return now_ ? *now_ : native_.now(); }
    std::int32_t utc_offset() override { return utc_offset_ ? *utc_offset_ : native_.utc_offset(); }
    std::optional<std::int64_t> end_of_day(const calendar_day& day) override;

  private:
    clock& native_;
    std::optional<std::int64_t> now_;
    std::optional<std::int32_t> utc_offset_;
};

}  // namespace vellum
