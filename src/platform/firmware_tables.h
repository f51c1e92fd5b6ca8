// The SMBIOS data that the firmware publishes: an 8-byte head whose second 32-bit word (little-endian) is the length
// of the structure table, then the structure table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/os_status.h"

namespace vellum {

// What claims to be larger is not read. Bytes.
inline constexpr std::size_t max_firmware_table = std::size_t{16} * 1024 * 1024;

inline constexpr std::size_t smbios_head_size = 8;      // bytes
inline constexpr std::size_t smbios_length_offset = 4;  // 4 bytes, little-endian: length of the structure table

class firmware_tables {
  public:
    virtual ~firmware_tables() = default;

    // The whole of the data, which may be of any size up to the limit; `out` is empty on failure.
    virtual os_status read(std::vector<std::uint8_t>& out) = 0;
};

}  // namespace vellum
