// Systematic damage to a well-formed input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace vellum::test {

using bytes = std::vector<std::uint8_t>;

// Every proper prefix of the input, each in a buffer of exactly its size so that a read past it is caught.
inline void for_each_prefix(const bytes& input, const std::function<void(bytes)>& check) {
    for (std::size_t size = 0; size < input.size(); ++size) {
        check(bytes(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(size)));
    }
}

// The input with one byte changed: each position takes the values that tip a comparison (all bits flipped, zero, one,
// 0x7F, 0xFF).
inline void for_each_byte_change(const bytes& input, const std::function<void(bytes)>& check) {
    for (std::size_t at = 0; at < input.size(); ++at) {
        for (const std::uint8_t value : {static_cast<std::uint8_t>(~input[at]), std::uint8_t{0}, std::uint8_t{1},
                                         std::uint8_t{0x7F}, std::uint8_t{0xFF}}) {
            if (value != input[at]) {
                bytes changed = input;
                changed[at] = value;
                check(std::move(changed));
            }
        }
    }
}

}  // namespace vellum::test
