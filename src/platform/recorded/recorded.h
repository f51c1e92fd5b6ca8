// The services of a recorded device: a directory of plain files that stands in for the running machine. What the
// directory does not hold falls back to the machine's own service or fails as the real service does when it is
// missing; docs/recorded-device.md lists the files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/result.h"
#include "platform/platform.h"

namespace vellum {

// Stands still at the time of the file `now`; the zone is that of the file `timezone`.
class recorded_clock final : public clock {
  public:
    explicit recorded_clock(clock& native) : native_(native) {}

    // Reads both files. Fails with invalid when one is there and does not hold one decimal number.
    result load(const std::string& directory);

    std::int64_t now() override { return now_ ? *now_ : native_.now(); }
    std::int32_t utc_offset() override { return utc_offset_ ? *utc_offset_ : native_.utc_offset(); }

  private:
    clock& native_;
    std::optional<std::int64_t> now_;
    std::optional<std::int32_t> utc_offset_;
};

class recorded_platform {
  public:
    explicit recorded_platform(platform native) : native_(native), clock_(native.clock) {}

    // Fails with invalid when the directory is missing or one of its files cannot be understood.
    result load(const std::string& directory);

    platform services() { return {native_.console, clock_, native_.errors}; }

  private:
    platform native_;
    recorded_clock clock_;
};

}  // namespace vellum
