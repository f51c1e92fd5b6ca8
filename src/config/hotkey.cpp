#include "config/hotkey.h"

#include <algorithm>

#include "base/text.h"

namespace vellum {
namespace {

constexpr std::uint32_t shift_state_valid = 0x80000000;
constexpr std::uint8_t toggle_state = 0xC0;  // toggle state valid, key state exposed
constexpr std::size_t max_keystrokes = 56;

struct keystroke {
    std::uint16_t scan_code = 0;
    std::uint16_t character = 0;
    std::uint32_t shift_state = shift_state_valid;
    bool has_key = false;
};

// In the order in which they print.
struct modifier {
    std::string_view name;
    std::uint32_t bit;          // set by parsing: the left-hand key
    std::uint32_t either_hand;  // what prints as this modifier
};

constexpr std::uint32_t shift_bit = 0x2;

constexpr modifier modifiers[] = {
    {"CTRL", 0x8, 0xC},     {"ALT", 0x20, 0x30},      {"LOGO", 0x80, 0xC0},
    {"MENU", 0x100, 0x100}, {"SYS_RQ", 0x200, 0x200}, {"SHIFT", shift_bit, 0x3},
};

struct named_key {
    std::string_view name;
    std::uint16_t code;
};

constexpr named_key scan_codes[] = {
    {"NULL", 0},   {"UP", 1},    {"DOWN", 2},   {"RIGHT", 3}, {"LEFT", 4}, {"HOME", 5}, {"END", 6},  {"INSERT", 7},
    {"DELETE", 8}, {"PG_UP", 9}, {"PG_DN", 10}, {"F1", 11},   {"F2", 12},  {"F3", 13},  {"F4", 14},  {"F5", 15},
    {"F6", 16},    {"F7", 17},   {"F8", 18},    {"F9", 19},   {"F10", 20}, {"F11", 21}, {"F12", 22}, {"ESC", 23},
};

constexpr named_key character_keys[] = {
    {"BACKSPACE", 0x08}, {"TAB", 0x09}, {"ENTER", 0x0D}, {"SPACE", 0x20}, {"COMMA", 0x2C},
};

// Each character and its shifted partner. The comma has none.
constexpr std::string_view character_pairs = "`~1!2@3#4$5%6^7&8*9(0)-_=+[{]}\\|;:'\".>/?";
static_assert(character_pairs.size() == 40);

template <typename Row, std::size_t Count>
const Row* find_name(const Row (&table)[Count], std::string_view name) {
    const Row* row = std::find_if(table, table + Count, [&](const Row& each) { return each.name == name; });
    return row == table + Count ? nullptr : row;
}

template <std::size_t Count>
const named_key* find_code(const named_key (&table)[Count], std::uint16_t code) {
    const named_key* row =
        std::find_if(table, table + Count, [&](const named_key& each) { return each.code == code; });
    return row == table + Count ? nullptr : row;
}

[[nodiscard]] bool set_key(keystroke& stroke, std::uint16_t scan_code, std::uint16_t character) {
    if (stroke.has_key) {
        return false;
    }
    stroke.scan_code = scan_code;
    stroke.character = character;
    stroke.has_key = true;
    return true;
}

[[nodiscard]] bool add_modifier(keystroke& stroke, std::uint32_t bit) {
    if (stroke.has_key || (stroke.shift_state & bit) != 0) {
        return false;
    }
    stroke.shift_state |= bit;
    return true;
}

[[nodiscard]] bool add_character(keystroke& stroke, char character) {
    const bool shifted = (stroke.shift_state & shift_bit) != 0;
    const std::size_t place = character_pairs.find(character);
    const bool letter = is_letter(character);
    if (!letter && place == std::string_view::npos) {
        return false;
    }
    if (shifted && (letter || place % 2 == 0)) {
        character = letter ? to_upper(character) : character_pairs[place + 1];
        stroke.shift_state &= ~shift_bit;
    }
    return set_key(stroke, 0, static_cast<std::uint8_t>(character));
}

[[nodiscard]] bool add_part(keystroke& stroke, std::string_view part) {
    if (const modifier* row = find_name(modifiers, part)) {
        return add_modifier(stroke, row->bit);
    }
    if (const named_key* row = find_name(scan_codes, part)) {
        return set_key(stroke, row->code, 0);
    }
    if (part.size() == 1) {
        return add_character(stroke, part[0]);
    }
    const named_key* row = find_name(character_keys, part);
    return row != nullptr && set_key(stroke, 0, row->code);
}

// Hands each piece between separators to `take` until it returns false; says whether it never did.
template <typename Take>
bool split(std::string_view text, char separator, Take&& take) {
    while (true) {
        const std::size_t end = text.find(separator);
        if (!take(text.substr(0, end))) {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(end + 1);
    }
}

[[nodiscard]] bool parse_keystroke(std::string_view text, keystroke& out) {
    return split(text, '+', [&](std::string_view part) { return add_part(out, part); }) && out.has_key;
}

void append_record(const keystroke& stroke, std::vector<std::uint8_t>& out) {
    append_le(out, stroke.scan_code);
    append_le(out, stroke.character);
    append_le(out, stroke.shift_state);
    out.push_back(toggle_state);
}

[[nodiscard]] bool append_key_text(std::uint16_t scan_code, std::uint16_t character, std::string& out) {
    if (scan_code != 0 && character != 0) {
        return false;
    }
    const named_key* named = character != 0 ? find_code(character_keys, character) : find_code(scan_codes, scan_code);
    if (named != nullptr) {
        out.append(named->name);
        return true;
    }
    if (character <= 0x20 || character >= 0x7F) {
        return false;
    }
    out.push_back(static_cast<char>(character));
    return true;
}

[[nodiscard]] bool append_keystroke_text(byte_reader& records, std::string& out) {
    std::uint16_t scan_code = 0;
    std::uint16_t character = 0;
    std::uint32_t shift_state = 0;
    if (!(records.u16_le(scan_code) && records.u16_le(character) && records.u32_le(shift_state) && records.skip(1))) {
        return false;
    }
    for (const modifier& row : modifiers) {
        if ((shift_state & row.either_hand) != 0) {
            out.append(row.name).push_back('+');
        }
    }
    return append_key_text(scan_code, character, out);
}

}  // namespace

std::optional<std::vector<std::uint8_t>> parse_hotkey_sequence(std::string_view text) {
    std::string dense(text);
    std::erase_if(dense, [](char c) { return blanks.find(c) != std::string_view::npos; });
    std::vector<std::uint8_t> encoded;
    std::size_t count = 0;
    const bool parsed = split(dense, ',', [&](std::string_view piece) {
        keystroke stroke;
        if (++count > max_keystrokes || !parse_keystroke(piece, stroke)) {
            return false;
        }
        append_record(stroke, encoded);
        return true;
    });
    return parsed ? std::optional(encoded) : std::nullopt;
}

std::optional<std::string> print_hotkey_sequence(byte_view encoded) {
    if (encoded.empty() || encoded.size() > max_hotkey_keystrokes * key_record_size) {
        return std::nullopt;
    }
    std::string text;
    byte_reader records(encoded);
    while (!records.at_end()) {
        if (!text.empty()) {
            text.push_back(',');
        }
        if (!append_keystroke_text(records, text)) {
            return std::nullopt;
        }
    }
    return text;
}

}  // namespace vellum
