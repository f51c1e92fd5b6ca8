// Builds SMBIOS data as the platform delivers them (8-byte head, structure table), well-formed by default, with a
// knob for every field so that any of them can lie.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vellum::lab {

struct smbios_structure {
    std::uint8_t type = 0;
    std::uint16_t handle = 0;
    std::vector<std::uint8_t> fields{};    // the formatted area behind type, length and handle
    std::vector<std::string> strings{};    // numbered from 1
    bool terminated = true;                // whether zeros end the set of strings
    std::optional<std::uint8_t> length{};  // of the formatted area, as claimed
};

struct smbios_data {
    std::uint32_t version = 0x03040000;         // the head's first word
    std::optional<std::uint32_t> table_length;  // as claimed
    std::vector<smbios_structure> structures;
};

std::vector<std::uint8_t> build(const smbios_data& data);

// What the structures of a platform say. An empty text has the string number 0.
struct smbios_platform {
    std::string bios_version = "VLM 1.0.42";
    std::string product_name = "Sealed Laptop 14";
    std::string serial_number = "SN-0042";
    std::string sku_number = "SKU-14-B";
    std::array<std::uint8_t, 16> uuid = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                                         0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    std::uint8_t orbis_flag = 1;
    std::array<std::uint16_t, 4> orbis_version = {16, 1, 25, 2101};
    std::string orbis_identifier = "Zeph";
};

smbios_structure bios_structure(const smbios_platform& platform);    // type 0
smbios_structure system_structure(const smbios_platform& platform);  // type 1
smbios_structure orbis_structure(const smbios_platform& platform);   // type 131
smbios_structure end_structure();                                    // type 127

// The four of them, in this order.
smbios_data smbios_of(const smbios_platform& platform);

}  // namespace vellum::lab
