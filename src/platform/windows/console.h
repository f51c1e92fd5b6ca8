// The console window: Unicode text and text attributes. A stream that leads to a file or a pipe gets the text as
// UTF-8 through the C library, whose text mode ends lines with CR LF, and no attributes.
#pragma once

#include <array>
#include <cstdint>

#include "platform/console.h"

namespace vellum {

class windows_console final : public console {
  public:
    void start() override;
    void write(console_stream stream, std::string_view text) override;
    void set_colour(console_stream stream, colour value) override;
    void reset_colour(console_stream stream) override;

  private:
    struct screen {
        void* handle = nullptr;  // the process's own, not owned; null when the stream is not a console
        std::uint16_t start_attributes = 0;
    };

    screen& screen_of(console_stream stream) { return screens_[static_cast<std::size_t>(stream)]; }

    std::array<screen, 2> screens_;  // by console_stream
    bool coloured_ = false;
};

// `colour` on the background of `start_attributes`.
constexpr std::uint16_t coloured_attributes(std::uint16_t start_attributes, colour value) {
    return static_cast<std::uint16_t>((start_attributes & 0xF0) + (static_cast<std::uint16_t>(value) & 0x0F));
}

}  // namespace vellum
