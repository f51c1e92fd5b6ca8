// The characters of Device IDs and of what a file name may take from them.
#pragma once

#include <string_view>

namespace vellum {

// What a blob starts with, and a literal must not.
inline constexpr std::string_view blob_prefix = "0x";

// [0-9a-zA-Z_.-], whatever the locale.
constexpr bool is_device_id_character(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-' ||
           c == '_';
}

}  // namespace vellum
