#include "platform/windows/console.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "platform/shared/terminal_colours.h"
#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

constexpr std::size_t max_units_a_call = 8192;

std::FILE* file_of(console_stream stream) {
    return stream == console_stream::output ? stdout : stderr;
}

void* handle_of(console_stream stream) {
    return ::GetStdHandle(stream == console_stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool is_first_of_pair(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

// The console takes a limited number of units a call; a pair is not torn.
void write_units(void* screen, std::wstring_view text) {
    while (!text.empty()) {
        std::size_t length = std::min(text.size(), max_units_a_call);
        if (length < text.size() && is_first_of_pair(text[length - 1])) {
            --length;
        }
        DWORD written = 0;
        if (::WriteConsoleW(screen, text.data(), static_cast<DWORD>(length), &written, nullptr) == FALSE) {
            return;
        }
        text.remove_prefix(length);
    }
}

}  // namespace

void windows_console::start() {
    coloured_ = colours_are_wanted();
    for (const console_stream stream : {console_stream::output, console_stream::error}) {
        std::setvbuf(file_of(stream), nullptr, _IONBF, 0);
        CONSOLE_SCREEN_BUFFER_INFO info{};
        void* handle = handle_of(stream);
        if (::GetConsoleScreenBufferInfo(handle, &info) != FALSE) {
            screen_of(stream) = {handle, info.wAttributes};
        }
    }
}

void windows_console::write(console_stream stream, std::string_view text) {
    if (void* handle = screen_of(stream).handle) {
        write_units(handle, wide_text(text));
    } else {
        std::fwrite(text.data(), 1, text.size(), file_of(stream));
    }
}

void windows_console::set_colour(console_stream stream, colour value) {
    const screen& shown = screen_of(stream);
    if (coloured_ && shown.handle != nullptr) {
        ::SetConsoleTextAttribute(shown.handle, coloured_attributes(shown.start_attributes, value));
    }
}

void windows_console::reset_colour(console_stream stream) {
    const screen& shown = screen_of(stream);
    if (coloured_ && shown.handle != nullptr) {
        ::SetConsoleTextAttribute(shown.handle, shown.start_attributes);
    }
}

}  // namespace vellum
