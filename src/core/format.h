// A printf format and its arguments as a text. The caller, which checks format against arguments, starts and ends
// `arguments`. The text is empty when it cannot be formatted.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace vellum {

// Formats into `room`, which grows as needed and never shrinks; the view is valid as long as it is unchanged.
std::string_view format_into(std::string& room, const char* format, std::va_list arguments);

// A text of its own, for functions that say the same text in two places.
std::string format_text(const char* format, std::va_list arguments);

}  // namespace vellum
