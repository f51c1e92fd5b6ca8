// The text of Device IDs: their characters, which are also what a file name may take from them, and hexadecimal
// digits. What is refused reports its reason and yields result::invalid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/result.h"

namespace vellum {

// What a blob starts with, and a literal must not.
inline constexpr std::string_view blob_prefix = "0x";

// [0-9a-zA-Z_.-], whatever the locale.
constexpr bool is_device_id_character(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-' ||
           c == '_';
}

// Refuses a text with another character, or of more than 63 characters.
result check_device_id_charset(const std::string& text);

// Refuses an empty text, an odd number of digits, more than `out` holds, and what is no digit. `size` is the number
// of bytes written.
result hex_string_to_bytes(std::string_view hex, std::span<std::uint8_t> out, std::size_t& size);

}  // namespace vellum
