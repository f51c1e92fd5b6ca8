// GUIDs as documents print them, turned into UEFI's byte order by the compiler.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/text.h"

namespace vellum {

// Does not compile for a text that is none.
consteval std::array<std::uint8_t, guid_size> guid_literal(std::string_view text) {
    constexpr std::size_t order[guid_size] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::array<std::uint8_t, guid_size> out{};
    std::size_t at = 0;
    for (const std::size_t byte : order) {
        at += text.at(at) == '-' ? 1 : 0;
        const std::size_t high = digits.find(text.at(at));
        const std::size_t low = digits.find(text.at(at + 1));
        out.at(byte) = high < 16 && low < 16 ? static_cast<std::uint8_t>(high << 4 | low)
                                             : throw "a digit of a GUID is neither 0 to 9 nor A to F";
        at += 2;
    }
    return at == text.size() ? out : throw "something follows a GUID";
}

}  // namespace vellum
