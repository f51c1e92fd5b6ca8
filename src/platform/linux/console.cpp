#include "platform/linux/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "platform/shared/terminal_colours.h"

namespace vellum {
namespace {

std::FILE* file_of(console_stream stream) {
    return stream == console_stream::output ? stdout : stderr;
}

std::string_view foreground_sequence(colour value) {
    switch (value) {
        case colour::grey: return "\x1b[90m";
        case colour::green: return "\x1b[92m";
        case colour::red: return "\x1b[91m";
        case colour::yellow: return "\x1b[93m";
    }
    return "";
}

// A file opened later must not take the place of a standard stream that was handed over closed: the report would be
// written into it.
void fill_closed_streams() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) == -1 && ::open("/dev/null", O_RDWR) != number) {
            return;
        }
    }
}

}  // namespace

void linux_console::start() {
    fill_closed_streams();
    // A reader that leaves early, such as "head", must not end the run before the log is written and the firmware's
    // connection closed: what is written to it fails like any other write.
    std::signal(SIGPIPE, SIG_IGN);
    // Nor must a log file at the limit of its size.
    std::signal(SIGXFSZ, SIG_IGN);
    for (const console_stream stream : {console_stream::output, console_stream::error}) {
        std::setvbuf(file_of(stream), nullptr, _IONBF, 0);
        terminal_[static_cast<std::size_t>(stream)] =
            ::isatty(::fileno(file_of(stream))) == 1 && colours_are_wanted();
    }
}

void linux_console::write(console_stream stream, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), file_of(stream));
}

void linux_console::set_colour(console_stream stream, colour value) {
    if (terminal_[static_cast<std::size_t>(stream)]) {
        write(stream, foreground_sequence(value));
    }
}

void linux_console::reset_colour(console_stream stream) {
    if (terminal_[static_cast<std::size_t>(stream)]) {
        write(stream, "\x1b[0m");
    }
}

}  // namespace vellum
