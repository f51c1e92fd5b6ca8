// The value of --compared_pcrs: which PCRs a log comparison looks at.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vellum {

// Reads unique decimal numbers from 0 to 23, separated by "," and blanks around them, into a PCR mask (bit i selects
// PCR i). Nothing for any other text; numbers given more than once are pushed.
std::optional<std::uint32_t> parse_compared_pcrs(std::string_view text);

}  // namespace vellum
