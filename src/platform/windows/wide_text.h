// Between the program's texts, which are UTF-8, and the system's, which are UTF-16. What has no counterpart becomes
// the replacement character, so that a name that cannot be told is never taken for another one.
#pragma once

#include <string>
#include <string_view>

namespace vellum {

std::wstring wide_text(std::string_view text);

std::string narrow_text(std::wstring_view text);

}  // namespace vellum
