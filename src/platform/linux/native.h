// The services of the running Linux machine.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace vellum {

// Colours by ANSI sequences, only on a stream that is a terminal.
class linux_console final : public console {
  public:
    void start() override;
    void write(console_stream stream, std::string_view text) override;
    void set_colour(console_stream stream, colour value) override;
    void reset_colour(console_stream stream) override;

  private:
    std::array<bool, 2> terminal_{};  // by console_stream
};

class linux_clock final : public clock {
  public:
    std::int64_t now() override;
    std::int32_t utc_offset() override;
};

class linux_system_errors final : public system_errors {
  public:
    std::uint32_t last() override;
    std::optional<std::string> text(std::uint32_t code) override;
};

// Owns one of each; `services()` refers into it.
class native_platform {
  public:
    platform services() { return {console_, clock_, errors_}; }

  private:
    linux_console console_;
    linux_clock clock_;
    linux_system_errors errors_;
};

}  // namespace vellum
