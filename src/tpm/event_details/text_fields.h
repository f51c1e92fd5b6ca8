// Texts in event data, as UTF-8. None is cleaned: that happens where it is shown.
#pragma once

#include <optional>
#include <string>

#include "base/bytes.h"

namespace vellum {

// UTF-16LE up to its first zero unit, or to its last whole one; U+FFFD for half a surrogate pair.
std::string utf8_of_utf16(byte_view bytes);

// Data that are a text: UTF-8 that has nothing to clean but line ends and tabs, followed by nothing but zeros.
// Nothing for other data, also for a text of blanks.
std::optional<std::string> text_in(byte_view data);

// The same of UTF-16LE; at least two characters, most of them ASCII, as any pair of bytes is one of some script.
std::optional<std::string> utf16_text_in(byte_view data);

// A size of one byte and so many characters, which may count a zero at their end. False when they do not fit.
[[nodiscard]] bool read_short_text(byte_reader& reader, std::string& out);

}  // namespace vellum
