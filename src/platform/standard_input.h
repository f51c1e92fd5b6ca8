// Standard input as bytes; windows/ and linux/ implement it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vellum {

// Waits until there are some and reads at most as many as the buffer takes. 0 at the end, and when it cannot be read.
std::size_t read_standard_input(std::span<std::uint8_t> buffer);

}  // namespace vellum
