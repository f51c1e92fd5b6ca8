// Which PCRs a log comparison looks at, and the value of --compared_pcrs, which names them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "app/validation_state.h"

namespace vellum {

// Reads unique decimal numbers from 0 to 23, separated by "," and blanks around them, into a PCR mask (bit i selects
// PCR i). Nothing for any other text; numbers given more than once are reported.
std::optional<std::uint32_t> parse_compared_pcrs(std::string_view text);

// The mask of a run: the PCRs that the user named, else those of the PMF, else all.
std::uint32_t selected_pcrs(const validation_state& state);

}  // namespace vellum
