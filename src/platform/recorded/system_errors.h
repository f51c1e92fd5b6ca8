// The native texts; the last error is that of a recorded service where one has failed since it was last asked for.
#pragma once

#include <utility>

#include "platform/system_errors.h"

namespace vellum {

// Codes for recorded failures that bring none of their own. The systems agree on the first one.
inline constexpr std::uint32_t recorded_not_found = 2;
inline constexpr std::uint32_t recorded_io_error = 5;
inline constexpr std::uint32_t recorded_no_room = 34;

class recorded_system_errors final : public system_errors {
  public:
    explicit recorded_system_errors(system_errors& native) : native_(native) {}

    // Makes `code` the last error.
    void fail(std::uint32_t code) { recorded_ = code; }

    os_status last() override {
        const std::optional<std::uint32_t> code = std::exchange(recorded_, std::nullopt);
        return code ? os_status(*code) : native_.last();
    }
    std::optional<std::string> text(os_status code) override { return native_.text(code); }

  private:
    system_errors& native_;
    std::optional<std::uint32_t> recorded_;
};

}  // namespace vellum
