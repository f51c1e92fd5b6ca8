// The console: two text streams and the foreground colour.
#pragma once

#include <cstdint>
#include <string_view>

namespace vellum {

enum class console_stream { output, error };

// Foreground colours; the values are the low four bits of a console text attribute.
enum class colour : std::uint8_t { grey = 0x08, green = 0x0A, red = 0x0C, yellow = 0x0E };

class console {
  public:
    virtual ~console() = default;

    // Switches both streams to unbuffered mode and remembers the start-up text attributes. Called once, first.
    virtual void start() = 0;

    // Writes the text as it stands, at once. A stream that cannot be written is ignored: there is no one to tell.
    virtual void write(console_stream stream, std::string_view text) = 0;

    // Changes the foreground and keeps the start-up background. No effect on a stream that is not a terminal.
    virtual void set_colour(console_stream stream, colour value) = 0;

    // Restores the start-up attributes.
    virtual void reset_colour(console_stream stream) = 0;
};

}  // namespace vellum
