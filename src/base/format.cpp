#include "base/format.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace vellum {

std::string_view format_into(std::string& room, const char* format, std::va_list arguments) {
    constexpr std::size_t first_size = 1024;  // most messages fit
    room.resize(std::max(room.size(), first_size));
    std::va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(room.data(), room.size(), format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) >= room.size()) {
        room.resize(static_cast<std::size_t>(length) + 1);
        length = std::vsnprintf(room.data(), room.size(), format, again);
    }
    va_end(again);
    return {room.data(), static_cast<std::size_t>(std::max(length, 0))};
}

std::string formatted(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = format_text(format, arguments);
    va_end(arguments);
    return text;
}

std::string format_text(const char* format, std::va_list arguments) {
    std::string text;
    text.resize(format_into(text, format, arguments).size());
    return text;
}

}  // namespace vellum
