// What the firmware says about the platform in its SMBIOS tables (DMTF DSP0134).
//
// The data come from the firmware and are not trusted: a structure or string that does not lie within the table is
// not there. Texts are as they stand in the tables, without their terminator.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/result.h"
#include "platform/firmware_tables.h"

namespace vellum {

// The structure table of the older entry point has 64 KiB at most. Data beyond this are refused. Bytes.
inline constexpr std::uint32_t max_smbios_size = 1024 * 1024;

inline constexpr std::size_t max_bios_version_length = 40;
inline constexpr std::size_t max_product_name_length = 64;
inline constexpr std::size_t max_sku_number_length = 64;
inline constexpr std::size_t max_serial_number_length = 32;

struct platform_smbios_info {
    std::string bios_version;
    std::string product_name;
    std::string sku_number;
    std::array<std::uint8_t, 16> uuid{};  // the system's, as it stands in the table
    std::string serial_number;
    std::array<std::uint16_t, 4> orbis_version{};
    bool orbis_flag = false;
};

// Fetches the tables and fills the record. Every failure is io_failure, and the record must not be used. The reason
// is logged, but for data that cannot be fetched: the caller's own message says it all.
result read_smbios_info(firmware_tables& tables, platform_smbios_info& out);

// Fills the record from data as the service delivers them: an 8-byte head and the structure table. The same failures.
result fill_smbios_info(byte_view smbios, platform_smbios_info& out);

}  // namespace vellum
