// Small shared formatters: hexadecimal, hex dump lines, GUIDs in registry form; days, numbers and the classes of
// characters. None logs or truncates silently. Text from outside goes into a message through shown_text().
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace vellum {

// Hexadecimal, high nibble first, no separators.
std::string upper_hex(byte_view bytes);
std::string lower_hex(byte_view bytes);

// The bytes that an even number of digits of either case are; nothing for anything else.
std::optional<std::vector<std::uint8_t>> parse_hex(std::string_view digits);

// Writes two lower-case digits a byte at `out`, which must have room; returns the end. For hot paths.
char* write_lower_hex(byte_view bytes, char* out);

// The 64 lower-case digits of a SHA-256 value, zero-terminated.
struct sha256_text {
    explicit sha256_text(std::span<const std::uint8_t, 32> value) { *write_lower_hex(value, digits.data()) = '\0'; }
    const char* c_str() const { return digits.data(); }
    std::array<char, 65> digits;
};

// A GUID in the mixed-endian byte order of UEFI: the first three fields little-endian, the last eight bytes in order.
inline constexpr std::size_t guid_size = 16;

// Registry form of a raw 16-byte GUID: without braces, upper case, 36 characters.
std::string guid_text(std::span<const std::uint8_t, guid_size> guid);

// "%c%04d" of sign and hours * 100 + minutes, such as "+0100"; nothing for an offset of 100 hours or more.
std::optional<std::string> timezone_suffix(std::int32_t offset_seconds);

// Text from outside, taken for UTF-8, as it may stand in a report: "?" for each character that would end the line,
// steer the terminal or reorder what stands beside it (controls, line separators, bidirectional marks), and for each
// byte that is part of no character. For what is shown alone: what is compared, hashed or opened stays as it is.
std::string shown_text(std::string_view text);

// A text field up to its first zero, as it is; all of a field that has none.
std::string field_text(byte_view field);

// UTF-16LE text up to its first zero unit, at most `max_units` units. A unit that is not printable ASCII shows as
// "?".
std::string utf16_text(byte_view bytes, std::size_t max_units);

// Seconds since 1970-01-01 UTC of the day's midnight; nothing for a day that the calendar does not have.
std::optional<std::int64_t> utc_seconds_of_day(int year, unsigned month, unsigned day);

// An unsigned number as "%llu" and "%llx" take it, whatever the width of its type.
constexpr unsigned long long as_ull(std::uint64_t value) {
    return value;
}

// ASCII alone, whatever the locale.
constexpr bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr char to_upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// What the C locale takes for white space.
inline constexpr std::string_view blanks = " \t\r\n\f\v";

// "1 event", "2 events".
std::string counted(std::size_t count, std::string_view noun);

// Text without leading and trailing blanks.
std::string_view trim(std::string_view text);

// Text without the line feed at its end, if it has one.
constexpr std::string_view without_line_end(std::string_view text) {
    return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
}

// Takes what stands before the separator, or all when there is none; `rest` begins behind the separator then.
inline std::string_view take_until(std::string_view& rest, char separator) {
    const std::string_view taken = rest.substr(0, rest.find(separator));
    rest.remove_prefix(std::min(taken.size() + 1, rest.size()));
    return taken;
}

// A base-10 number that is the whole text and fits its type; no blanks, and a minus only where the type has one.
template <typename Number = std::uint64_t>
std::optional<Number> parse_decimal(std::string_view text) {
    Number value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// Makes hex dump lines: `indent` blanks, the offset as eight hexadecimal digits, " |", the bytes in pairs, " | ",
// and the characters, dots for what is not printable ASCII. `bytes_per_line` must be even, else nothing is made.
// The handler's view is valid during the call only.
template <typename LineHandler>
void hex_dump(byte_view data, std::size_t bytes_per_line, std::size_t indent, LineHandler&& line_handler);

namespace detail {
// Writes one dump line of `chunk` (at most bytes_per_line bytes, found at `offset`) into `line`.
void write_dump_line(byte_view chunk, std::uint64_t offset, std::size_t bytes_per_line, std::size_t indent,
                     std::string& line);
}  // namespace detail

template <typename LineHandler>
void hex_dump(byte_view data, std::size_t bytes_per_line, std::size_t indent, LineHandler&& line_handler) {
    if (bytes_per_line == 0 || bytes_per_line % 2 != 0) {
        return;
    }
    std::string line;
    for (std::size_t offset = 0; offset < data.size(); offset += bytes_per_line) {
        const std::size_t length = std::min(bytes_per_line, data.size() - offset);
        detail::write_dump_line(data.subspan(offset, length), offset, bytes_per_line, indent, line);
        line_handler(std::string_view(line));
    }
}

}  // namespace vellum
