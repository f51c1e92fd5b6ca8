#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/shared/terminal_colours.h"

namespace vellum {
namespace {

// A terminal at the end of a serial line does not know its window.
constexpr std::size_t usual_columns = 80;

}  // namespace

terminal_traits look_at_terminal() {
    if (::isatty(STDOUT_FILENO) != 1) {
        return {};
    }
    winsize window{};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col != 0;
    return {known ? window.ws_col : usual_columns, colours_are_wanted()};
}

bool errors_are_watched() {
    return ::isatty(STDERR_FILENO) == 1;
}

}  // namespace vellum
