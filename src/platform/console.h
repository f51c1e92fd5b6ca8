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

    // Switches both streams to unbuffered mode, and looks where they lead and whether colours are wanted there.
    // Called once, first.
    virtual void start() = 0;

    // Writes the text, which is UTF-8, at once; lines end as the system's do. A stream that cannot be written is
    // ignored: there is no one to tell.
    virtual void write(console_stream stream, std::string_view text) = 0;

    // Changes the foreground and keeps the background. No effect on a stream that is not a terminal, nor where
    // colours are not wanted (shared/terminal_colours.h).
    virtual void set_colour(console_stream stream, colour value) = 0;

    // Back to the colours that the terminal had at the start (Windows), or that are its usual ones (Linux).
    virtual void reset_colour(console_stream stream) = 0;
};

}  // namespace vellum
