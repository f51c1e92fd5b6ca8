#include "platform/terminal.h"

#include <windows.h>

#include "platform/shared/terminal_colours.h"

namespace vellum {

terminal_traits look_at_terminal() {
    void* const screen = ::GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (::GetConsoleScreenBufferInfo(screen, &info) == FALSE) {
        return {};
    }
    DWORD mode = 0;
    const bool understood = colours_are_wanted() && ::GetConsoleMode(screen, &mode) != FALSE &&
                            ::SetConsoleMode(screen, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
    return {static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1), understood};
}

bool errors_are_watched() {
    void* const screen = ::GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    return ::GetConsoleMode(screen, &mode) != FALSE &&
           ::SetConsoleMode(screen, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

}  // namespace vellum
