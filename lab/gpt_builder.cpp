#include "lab/gpt_builder.h"

#include <algorithm>
#include <string_view>

#include "disk/gpt.h"
#include "lab/byte_builder.h"

namespace vellum::lab {
namespace {

constexpr std::size_t name_size = 72;
constexpr std::uint64_t max_gap = 64;  // sectors
constexpr std::uint8_t protective_partition = 0xEE;

std::vector<std::uint8_t> name_bytes(const std::u16string& name) {
    byte_builder out;
    for (const char16_t unit : name) {
        out.u16_le(unit);
    }
    return out.take();
}

void write_entry(byte_builder& out, const gpt_entry& entry, std::size_t size) {
    byte_builder fields;
    fields.bytes(entry.type_guid).bytes(entry.own_guid).u64_le(entry.first_lba).u64_le(entry.last_lba);
    fields.u64_le(entry.attributes).padded(name_bytes(entry.name), name_size);
    out.padded(fields.take(), size);
}

// Sectors between header and entries; none when the claimed place is not near.
std::size_t gap_before_entries(const gpt_header& header) {
    const std::uint64_t gap = header.entries_lba - 2;
    return gap <= max_gap ? static_cast<std::size_t>(gap) : 0;
}

std::vector<std::uint8_t> entries_area(const gpt_table& table) {
    byte_builder out;
    for (const gpt_entry& entry : table.entries) {
        write_entry(out, entry, table.header.entry_size);
    }
    const std::size_t size = table.slots * table.header.entry_size;
    return out.fill(size > out.size() ? size - out.size() : 0).take();
}

// The header's bytes with the given CRC, filled up to the size that it claims.
std::vector<std::uint8_t> header_bytes(const gpt_table& table, byte_view entries, std::uint32_t crc) {
    const gpt_header& header = table.header;
    const std::size_t slots = std::max(table.slots, table.entries.size());
    byte_builder out;
    out.text(header.signature).u32_le(header.revision).u32_le(header.size).u32_le(crc).u32_le(header.reserved);
    out.u64_le(header.my_lba).u64_le(header.backup_lba);
    out.u64_le(header.first_usable_lba).u64_le(header.last_usable_lba).bytes(header.disk_guid);
    out.u64_le(header.entries_lba).u32_le(header.entry_count.value_or(static_cast<std::uint32_t>(slots)));
    out.u32_le(header.entry_size).u32_le(header.entries_crc.value_or(crc32(entries)));
    return out.take();
}

std::vector<std::uint8_t> header_with_crc(const gpt_table& table, byte_view entries, std::size_t sector_size) {
    const gpt_header& header = table.header;
    std::vector<std::uint8_t> covered = header_bytes(table, entries, 0);
    covered.resize(std::min<std::size_t>(header.size, sector_size));
    return header_bytes(table, entries, header.crc.value_or(crc32(covered)));
}

// One partition of type EE over the whole disk, in the first of the four slots at offset 446.
std::vector<std::uint8_t> protective_mbr() {
    byte_builder out;
    out.fill(446);
    out.u8(0).u8(0).u8(2).u8(0).u8(protective_partition).u8(0xFF).u8(0xFF).u8(0xFF).u32_le(1).u32_le(UINT32_MAX);
    return out.fill(std::size_t{3} * 16).u8(0x55).u8(0xAA).take();
}

}  // namespace

std::vector<std::uint8_t> build_disk(const gpt_table& table, std::size_t sector_size) {
    const std::vector<std::uint8_t> entries = entries_area(table);
    byte_builder out;
    out.padded(protective_mbr(), sector_size);
    out.padded(header_with_crc(table, entries, sector_size), sector_size);
    out.fill(gap_before_entries(table.header) * sector_size);
    return out.padded(entries, (entries.size() + sector_size - 1) / sector_size * sector_size).take();
}

std::vector<std::uint8_t> build_gpt_event(const gpt_table& table) {
    const std::vector<std::uint8_t> entries = entries_area(table);
    byte_builder out;
    out.bytes(header_with_crc(table, entries, 512)).u64_le(table.claimed_count.value_or(table.entries.size()));
    return out.bytes(byte_view(entries).first(table.entries.size() * table.header.entry_size)).take();
}

}  // namespace vellum::lab
