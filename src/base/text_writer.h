// Builds one line of text in a fixed buffer, for lines that are written once per event of a log: no format string, no
// allocation. What does not fit is a program error and is cut at the end of the buffer.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/text.h"

namespace vellum {

template <std::size_t Capacity>
class text_writer {
  public:
    text_writer& text(std::string_view value) {
        const std::size_t fits = std::min(value.size(), Capacity - size_);
        std::copy_n(value.data(), fits, buffer_.data() + size_);
        size_ += fits;
        return *this;
    }

    text_writer& decimal(std::uint32_t value) {
        std::array<char, 10> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        return text({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    // At least two digits.
    text_writer& decimal_02(std::uint32_t value) { return value < 10 ? text("0").decimal(value) : decimal(value); }

    // Eight lower-case hexadecimal digits.
    text_writer& hex_08(std::uint32_t value) {
        const std::array<std::uint8_t, 4> bytes = {
            static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
        return hex(bytes);
    }

    // Two lower-case digits a byte.
    text_writer& hex(byte_view bytes) {
        const std::size_t fits = std::min(bytes.size(), (Capacity - size_) / 2);
        write_lower_hex(bytes.first(fits), buffer_.data() + size_);
        size_ += 2 * fits;
        return *this;
    }

    std::string_view view() const { return {buffer_.data(), size_}; }

  private:
    std::array<char, Capacity> buffer_;
    std::size_t size_ = 0;
};

}  // namespace vellum
