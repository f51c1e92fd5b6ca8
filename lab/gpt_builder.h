// Builds GUID partition tables (UEFI, "GUID Partition Table (GPT) Disk Layout"), well-formed by default, with a knob
// for every field so that any of them can lie.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vellum::lab {

using guid = std::array<std::uint8_t, 16>;

// Windows' and everybody's "basic data" partition type, EBD0A0A2-B9E5-4433-87C0-68B6B72699C7.
inline constexpr guid basic_data_guid = {0xA2, 0xA0, 0xD0, 0xEB, 0xE5, 0xB9, 0x33, 0x44,
                                         0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7};

struct gpt_entry {
    guid type_guid = basic_data_guid;
    guid own_guid{};
    std::uint64_t first_lba = 2048;
    std::uint64_t last_lba = 4095;
    std::uint64_t attributes = 0;
    std::u16string name = u"Basic data partition";
};

// A GPT header. What is absent is computed from the rest of the table.
struct gpt_header {
    std::string signature = "EFI PART";
    std::uint32_t revision = 0x00010000;
    std::uint32_t size = 92;
    std::optional<std::uint32_t> crc;
    std::uint32_t reserved = 0;
    std::uint64_t my_lba = 1;
    std::uint64_t backup_lba = 0x3B9E12AF;
    std::uint64_t first_usable_lba = 34;
    std::uint64_t last_usable_lba = 0x3B9E128E;
    guid disk_guid = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    std::uint64_t entries_lba = 2;
    std::optional<std::uint32_t> entry_count;  // absent: the slots of the table
    std::uint32_t entry_size = 128;
    std::optional<std::uint32_t> entries_crc;
};

struct gpt_table {
    gpt_header header;
    std::vector<gpt_entry> entries;
    std::size_t slots = 128;                     // unused ones are zeros
    std::optional<std::uint64_t> claimed_count;  // of a GPT event
};

// The first sectors of the disk: protective MBR, header, entries.
std::vector<std::uint8_t> build_disk(const gpt_table& table, std::size_t sector_size = 512);

// UEFI_GPT_DATA: header, number of partitions, the entries that are in use.
std::vector<std::uint8_t> build_gpt_event(const gpt_table& table);

}  // namespace vellum::lab
