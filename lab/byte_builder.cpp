#include "lab/byte_builder.h"

namespace vellum::lab {

byte_builder& byte_builder::bytes(byte_view data) {
    bytes_.insert(bytes_.end(), data.begin(), data.end());
    return *this;
}

byte_builder& byte_builder::fill(std::size_t count, std::uint8_t value) {
    bytes_.insert(bytes_.end(), count, value);
    return *this;
}

byte_builder& byte_builder::number(std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i, value >>= 8) {
        bytes_.push_back(static_cast<std::uint8_t>(value));
    }
    return *this;
}

}  // namespace vellum::lab
