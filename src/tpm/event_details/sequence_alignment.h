// Which elements of two sequences belong together: a common subsequence, the longest one where that is affordable.
// Elements are numbers; equal ones are alike.
//
// Memory is linear in the sequences. So is the time where they differ little, or have little in common; it is bounded
// by a fixed number of steps an element in all other cases, where the subsequence is not always the longest.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace vellum {

inline constexpr std::uint32_t no_partner = std::numeric_limits<std::uint32_t>::max();

// For each element of `before` the position of its partner in `after`, or no_partner. Partners are equal, and stand
// in one order in both. Each sequence has fewer elements than no_partner.
std::vector<std::uint32_t> align_sequences(std::span<const std::uint32_t> before,
                                           std::span<const std::uint32_t> after);

}  // namespace vellum
