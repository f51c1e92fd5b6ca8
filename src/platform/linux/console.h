// The terminal. Colours by ANSI sequences, only on a stream that is a terminal.
#pragma once

#include <array>

#include "platform/console.h"

namespace vellum {

class linux_console final : public console {
  public:
    void start() override;
    void write(console_stream stream, std::string_view text) override;
    void set_colour(console_stream stream, colour value) override;
    void reset_colour(console_stream stream) override;

  private:
    std::array<bool, 2> terminal_{};  // by console_stream
};

}  // namespace vellum
