// A printf format and its arguments as a text. The caller, which checks format against arguments, starts and ends
// `arguments`. The text is empty when it cannot be formatted.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

// Formats take the standard's conversions on every system. One compiler knows that kind under a name of its own, as
// "printf" means to it what the C library of the system takes.
#ifdef __clang__
#define VELLUM_PRINTF(format_index, first_argument) __attribute__((format(printf, format_index, first_argument)))
#else
#define VELLUM_PRINTF(format_index, first_argument) __attribute__((format(gnu_printf, format_index, first_argument)))
#endif

namespace vellum {

// Formats into `room`, which grows as needed and never shrinks; the view is valid as long as it is unchanged.
std::string_view format_into(std::string& room, const char* format, std::va_list arguments);

// A text of its own.
std::string formatted(const char* format, ...) VELLUM_PRINTF(1, 2);

// The same for functions that say the same text in two places.
std::string format_text(const char* format, std::va_list arguments);

}  // namespace vellum
