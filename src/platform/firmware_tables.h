// The SMBIOS data that the firmware publishes: an 8-byte head whose second 32-bit word (little-endian) is the length
// of the structure table, then the structure table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vellum {

inline constexpr std::size_t smbios_head_size = 8;      // bytes
inline constexpr std::size_t smbios_length_offset = 4;  // 4 bytes, little-endian: length of the structure table

class firmware_tables {
  public:
    virtual ~firmware_tables() = default;

    // Fills the buffer and returns the size of the data in bytes; without a buffer, or with one that is too small,
    // only returns the size that is needed. 0 when there is no data.
    virtual std::uint32_t fetch_smbios(std::span<std::uint8_t> buffer) = 0;
};

}  // namespace vellum
