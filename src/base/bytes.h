// The one way to read bytes that come from outside: a bounded cursor over a view that it does not own. Beside it the
// way to write numbers for others to read.
//
// Every read checks the remaining length before it touches memory. A read that does not fit returns false,
// leaves the cursor where it was and leaves its output unchanged. Lengths are compared, never added, so no
// size from the data can wrap. The byte order stands in the method's name.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace vellum {

using byte_view = std::span<const std::uint8_t>;

// Views text as bytes; the text must outlive the view.
inline byte_view as_bytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline bool equal_bytes(byte_view a, byte_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

inline bool starts_with(byte_view data, byte_view prefix) {
    return data.size() >= prefix.size() && equal_bytes(data.first(prefix.size()), prefix);
}

inline bool all_of_value(byte_view bytes, std::uint8_t value) {
    return std::all_of(bytes.begin(), bytes.end(), [value](std::uint8_t byte) { return byte == value; });
}

inline bool all_zero(byte_view bytes) {
    return all_of_value(bytes, 0);
}

template <typename Unsigned>
std::array<std::uint8_t, sizeof(Unsigned)> little_endian_bytes(Unsigned value) {
    auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof(Unsigned)>>(value);
    if constexpr (std::endian::native != std::endian::little) {
        std::reverse(bytes.begin(), bytes.end());
    }
    return bytes;
}

// The number that at most eight bytes are.
inline std::uint64_t number_le(byte_view bytes) {
    std::uint64_t number = 0;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        number = number << 8 | *byte;
    }
    return number;
}

// Appends the number in the width of its type.
template <typename Unsigned>
void append_le(std::vector<std::uint8_t>& out, Unsigned value) {
    const auto bytes = little_endian_bytes(value);
    out.insert(out.end(), bytes.begin(), bytes.end());
}

// Writes the number, in the width of its type, over the first bytes of `out`, which must have room for it.
template <typename Unsigned>
void put_le(std::span<std::uint8_t> out, Unsigned value) {
    const auto bytes = little_endian_bytes(value);
    std::copy(bytes.begin(), bytes.end(), out.first(bytes.size()).begin());
}

class byte_reader {
  public:
    explicit byte_reader(byte_view data) : data_(data) {}

    std::size_t position() const { return position_; }
    std::size_t remaining() const { return data_.size() - position_; }
    bool at_end() const { return remaining() == 0; }

    // The rest of the view; the cursor stays.
    byte_view rest() const { return data_.subspan(position_); }

    [[nodiscard]] bool skip(std::uint64_t count) {
        if (remaining() < count) {
            return false;
        }
        position_ += static_cast<std::size_t>(count);
        return true;
    }

    // A view of the next `count` bytes, without copying.
    [[nodiscard]] bool view(std::uint64_t count, byte_view& out) {
        if (remaining() < count) {
            return false;
        }
        out = data_.subspan(position_, static_cast<std::size_t>(count));
        position_ += out.size();
        return true;
    }

    // A reader confined to the next `count` bytes, so that a child cannot overrun its parent.
    [[nodiscard]] bool sub(std::uint64_t count, byte_reader& out) {
        byte_view part;
        if (!view(count, part)) {
            return false;
        }
        out = byte_reader(part);
        return true;
    }

    // Fills `out` completely.
    [[nodiscard]] bool copy(std::span<std::uint8_t> out) {
        byte_view part;
        if (!view(out.size(), part)) {
            return false;
        }
        std::copy(part.begin(), part.end(), out.begin());
        return true;
    }

    [[nodiscard]] bool u8(std::uint8_t& out) { return little_endian(out); }
    [[nodiscard]] bool u16_le(std::uint16_t& out) { return little_endian(out); }
    [[nodiscard]] bool u32_le(std::uint32_t& out) { return little_endian(out); }
    [[nodiscard]] bool u64_le(std::uint64_t& out) { return little_endian(out); }
    [[nodiscard]] bool u16_be(std::uint16_t& out) { return big_endian(out); }
    [[nodiscard]] bool u32_be(std::uint32_t& out) { return big_endian(out); }
    [[nodiscard]] bool u64_be(std::uint64_t& out) { return big_endian(out); }

  private:
    template <typename Unsigned>
    [[nodiscard]] bool little_endian(Unsigned& out) {
        return number<std::endian::little>(out);
    }

    template <typename Unsigned>
    [[nodiscard]] bool big_endian(Unsigned& out) {
        return number<std::endian::big>(out);
    }

    // Copying into a number compiles to one load; assembling it byte by byte does not.
    template <std::endian Order, typename Unsigned>
    [[nodiscard]] bool number(Unsigned& out) {
        if (remaining() < sizeof(Unsigned)) {
            return false;
        }
        std::array<std::uint8_t, sizeof(Unsigned)> bytes;
        std::memcpy(bytes.data(), data_.data() + position_, bytes.size());
        if constexpr (Order != std::endian::native) {
            std::reverse(bytes.begin(), bytes.end());
        }
        out = std::bit_cast<Unsigned>(bytes);
        position_ += sizeof(Unsigned);
        return true;
    }

    byte_view data_;
    std::size_t position_ = 0;
};

}  // namespace vellum
