// Standard input as bytes; windows/ and linux/ implement it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vellum {

// Waits until there are some and reads at most as many as the buffer takes. 0 at the end, and when it cannot be read.
std::size_t read_standard_input(std::span<std::uint8_t> buffer);

// Whether there are some, or the end, before the time is over. True, too, where that cannot be told without reading.
bool standard_input_waits(std::chrono::milliseconds patience);

}  // namespace vellum
