// Builds byte strings field by field, the mirror image of the byte reader. What makes it grow is not inlined:
// compilers warn of overflows that cannot be in a vector whose whole life they see.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "base/bytes.h"

namespace vellum::lab {

class byte_builder {
  public:
    byte_builder& u8(std::uint8_t value) { return number(value, 1); }
    byte_builder& u16_le(std::uint16_t value) { return number(value, 2); }
    byte_builder& u32_le(std::uint32_t value) { return number(value, 4); }
    byte_builder& u64_le(std::uint64_t value) { return number(value, 8); }

    byte_builder& u16_be(std::uint16_t value) {
        return u8(static_cast<std::uint8_t>(value >> 8)).u8(static_cast<std::uint8_t>(value));
    }
    byte_builder& u32_be(std::uint32_t value) {
        return u16_be(static_cast<std::uint16_t>(value >> 16)).u16_be(static_cast<std::uint16_t>(value));
    }

    byte_builder& bytes(byte_view data);
    byte_builder& text(std::string_view value) { return bytes(as_bytes(value)); }

    // ASCII text as UTF-16LE, without a terminator.
    byte_builder& utf16(std::string_view value) {
        for (const char character : value) {
            u16_le(static_cast<std::uint8_t>(character));
        }
        return *this;
    }
    byte_builder& fill(std::size_t count, std::uint8_t value = 0);

    // The text or bytes, filled up with zeros to `size`; what is longer stays longer.
    byte_builder& padded(byte_view data, std::size_t size) {
        bytes(data);
        return data.size() < size ? fill(size - data.size()) : *this;
    }

    std::size_t size() const { return bytes_.size(); }
    std::vector<std::uint8_t> take() { return std::move(bytes_); }

  private:
    byte_builder& number(std::uint64_t value, int width);

    std::vector<std::uint8_t> bytes_;
};

}  // namespace vellum::lab
