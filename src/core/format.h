// A printf format and its arguments as a text of their own, for functions that say the same text in two places.
#pragma once

#include <cstdarg>
#include <string>

namespace vellum {

// The caller, which checks format against arguments, starts and ends `arguments`. Empty when it cannot be formatted.
std::string format_text(const char* format, std::va_list arguments);

}  // namespace vellum
