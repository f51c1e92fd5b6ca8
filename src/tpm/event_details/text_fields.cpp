#include "tpm/event_details/text_fields.h"

#include <algorithm>

#include "base/text.h"

namespace vellum {
namespace {

constexpr std::uint32_t replacement_character = 0xFFFD;

bool is_high_surrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool is_low_surrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

void append_utf8(std::uint32_t character, std::string& out) {
    const auto put = [&out](std::uint32_t byte) { out += static_cast<char>(byte); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | (character >> 6));
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | (character >> 12));
        put(0x80 | ((character >> 6) & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | (character >> 18));
        put(0x80 | ((character >> 12) & 0x3F));
        put(0x80 | ((character >> 6) & 0x3F));
        put(0x80 | (character & 0x3F));
    }
}

// The character that begins with the unit; its second half is taken from the reader.
std::uint32_t character_of(std::uint16_t unit, byte_reader& reader) {
    if (!is_high_surrogate(unit)) {
        return is_low_surrogate(unit) ? replacement_character : unit;
    }
    byte_reader ahead = reader;
    std::uint16_t second = 0;
    if (!ahead.u16_le(second) || !is_low_surrogate(second)) {
        return replacement_character;
    }
    reader = ahead;
    return 0x10000 + ((unit - 0xD800U) << 10) + (second - 0xDC00U);
}

// How many units a text takes in UTF-16.
std::size_t utf16_units(std::string_view utf8) {
    std::size_t units = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        units += byte >= 0xF0 ? 2 : (byte & 0xC0) != 0x80 ? 1 : 0;
    }
    return units;
}

// Any bytes are UTF-16 of some script; what firmware and boot loaders write is Latin for the most part.
bool is_mostly_ascii(std::string_view utf8) {
    const auto ascii = std::count_if(utf8.begin(), utf8.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
    return 2 * static_cast<std::size_t>(ascii) > utf8.size();
}

byte_view without_zeros_at_end(byte_view data) {
    while (!data.empty() && data.back() == 0) {
        data = data.first(data.size() - 1);
    }
    return data;
}

// Whether cleaning would change nothing but the ends of its lines and what parts its columns.
bool is_clean(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\t' || c == '\r'; }, ' ');
    return shown_text(text) == text;
}

}  // namespace

std::string utf8_of_utf16(byte_view bytes) {
    std::string out;
    byte_reader reader(bytes);
    std::uint16_t unit = 0;
    while (reader.u16_le(unit) && unit != 0) {
        append_utf8(character_of(unit, reader), out);
    }
    return out;
}

std::optional<std::string> text_in(byte_view data) {
    const byte_view text = without_zeros_at_end(data);
    if (text.empty()) {
        return std::nullopt;
    }
    std::string out(text.begin(), text.end());
    return !trim(out).empty() && is_clean(out) ? std::optional(std::move(out)) : std::nullopt;
}

std::optional<std::string> utf16_text_in(byte_view data) {
    if (data.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string out = utf8_of_utf16(data);
    const std::size_t units = utf16_units(out);
    const bool whole = units >= 2 && 2 * units <= data.size() && all_zero(data.subspan(2 * units));
    return whole && is_mostly_ascii(out) && is_clean(out) ? std::optional(std::move(out)) : std::nullopt;
}

bool read_short_text(byte_reader& reader, std::string& out) {
    std::uint8_t size = 0;
    byte_view text;
    if (!reader.u8(size) || !reader.view(size, text)) {
        return false;
    }
    out = field_text(text);
    return true;
}

}  // namespace vellum
