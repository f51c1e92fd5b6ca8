// The opt-out hotkey: its readable syntax, and the packed form that the firmware keeps.
//
// Text: keystrokes separated by ",", each made of modifiers and one key joined by "+", such as "CTRL+ALT+F1, a".
// White space does not count, names match exactly. Packed: one EFI_KEY_DATA record (UEFI, simple text
// input ex protocol) of 9 bytes a keystroke, little-endian:
//   0  2  scan code, 0 for a character key
//   2  2  character, 0 for a scan-code key
//   4  4  shift state: bit 31 and the modifiers
//   8  1  toggle state, always 0xC0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace vellum {

inline constexpr std::size_t key_record_size = 9;        // bytes
inline constexpr std::size_t max_hotkey_keystrokes = 7;  // that the firmware can hold

// The packed records; nothing on a syntax error. Up to 56 keystrokes are taken: what the firmware can hold is the
// caller's check. SHIFT before a letter, or before a character with a shifted partner, yields the upper-case letter
// or the partner, without the SHIFT bit; a character that is a shifted partner already keeps the bit.
std::optional<std::vector<std::uint8_t>> parse_hotkey_sequence(std::string_view text);

// The keystrokes joined by ","; what parse_hotkey_sequence() made comes back in a form that it reads as the same
// bytes (a keystroke whose character is "+" excepted, which prints as itself). Nothing when there are no records,
// more than 7, a part of one, an unknown scan code, scan code and character together, or a character that has no name
// and is not printable ASCII.
std::optional<std::string> print_hotkey_sequence(byte_view encoded);

}  // namespace vellum
