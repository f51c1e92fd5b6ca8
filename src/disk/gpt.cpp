#include "disk/gpt.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr std::uint64_t first_entries_lba = 2;
constexpr std::uint64_t last_entries_lba = std::uint64_t{1} << 50;  // its offset in bytes still fits 63 bits
constexpr std::size_t header_crc_offset = 16;                       // in the header
constexpr std::size_t crc_size = 4;

constexpr std::uint32_t max_entry_size = 4096;                          // bytes
constexpr std::uint64_t max_entries_area = std::uint64_t{1024} * 1024;  // bytes

constexpr std::array<std::uint32_t, 256> make_crc_table() {
    constexpr std::uint32_t reflected_polynomial = 0xEDB88320;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t value = 0; value < table.size(); ++value) {
        std::uint32_t crc = value;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) != 0 ? (crc >> 1) ^ reflected_polynomial : crc >> 1;
        }
        table[value] = crc;
    }
    return table;
}

constexpr auto crc_table = make_crc_table();

// The fields of the header that count here.
struct gpt_header {
    std::uint32_t size = 0;  // bytes that the CRC covers
    std::uint32_t crc = 0;
    std::uint64_t my_lba = 0;
    std::uint64_t entries_lba = 0;
    std::uint32_t entry_count = 0;
    std::uint32_t entry_size = 0;  // bytes
    std::uint32_t entries_crc = 0;

    std::uint64_t entries_area() const { return std::uint64_t{entry_count} * entry_size; }
};

// Revision (4), header size (4), header CRC (4), reserved (4), own LBA (8), backup LBA (8), usable range (16), disk
// GUID (16), LBA of the entries (8), their count (4), size (4) and CRC (4), behind the signature (8).
[[nodiscard]] bool read_header(byte_view sector, gpt_header& out) {
    byte_reader reader(sector);
    return reader.skip(gpt_signature.size() + 4) && reader.u32_le(out.size) && reader.u32_le(out.crc) &&
           reader.skip(4) && reader.u64_le(out.my_lba) && reader.skip(8 + 16 + 16) &&
           reader.u64_le(out.entries_lba) && reader.u32_le(out.entry_count) && reader.u32_le(out.entry_size) &&
           reader.u32_le(out.entries_crc);
}

// Type GUID (16), own GUID (16), first and last LBA (8 each), attributes (8), name (72).
[[nodiscard]] bool read_entry(byte_view entry, gpt_partition& out) {
    byte_reader reader(entry);
    return reader.copy(out.type_guid) && reader.copy(out.unique_guid) && reader.u64_le(out.first_lba) &&
           reader.u64_le(out.last_lba) && reader.u64_le(out.attributes) && reader.copy(out.name);
}

// The CRC of the header with its own field taken as zero.
std::uint32_t header_crc(byte_view header) {
    constexpr std::array<std::uint8_t, crc_size> zeros{};
    const std::uint32_t before = crc32(header.first(header_crc_offset));
    return crc32(header.subspan(header_crc_offset + crc_size), crc32(zeros, before));
}

result refuse_checksum(finding_id id, const char* what, std::uint32_t actual, std::uint32_t expected) {
    report(id, "%s has invalid CRC32. Actual (0x%08x), expected (0x%08x).", what, actual, expected)
        .field("expected", expected)
        .field("actual", actual);
    return result::invalid;
}

result check_header_fields(const gpt_header& header) {
    if (header.my_lba != gpt_header_lba) {
        report("gpt-header-lba"_id, "Disk GPT header has invalid LBA of its own. Actual (%llu), expected (%llu).",
               as_ull(header.my_lba), as_ull(gpt_header_lba))
            .field("expected", gpt_header_lba)
            .field("actual", header.my_lba);
        return result::invalid;
    }
    const bool whole_entries = header.entry_size >= gpt_entry_size && header.entry_size % gpt_entry_size == 0;
    if (!whole_entries || header.entry_size > max_entry_size) {
        report("gpt-entry-size"_id, "Disk GPT partition entry size (%u) is not supported.", header.entry_size)
            .field("size", header.entry_size)
            .field("expected", gpt_entry_size)
            .field("limit", max_entry_size);
        return result::invalid;
    }
    if (header.entries_area() > max_entries_area) {
        report("gpt-entries-too-large"_id,
               "Disk GPT partition entries (%u of %u bytes) are too large. The limit is %llu bytes.",
               header.entry_count, header.entry_size, as_ull(max_entries_area))
            .field("size", header.entries_area())
            .field("limit", max_entries_area);
        return result::invalid;
    }
    if (header.entries_lba < first_entries_lba || header.entries_lba > last_entries_lba) {
        report("gpt-entries-lba"_id, "Disk GPT partition entries have invalid LBA (%llu).",
               as_ull(header.entries_lba))
            .field("first_lba", header.entries_lba);
        return result::invalid;
    }
    return result::success;
}

result check_header(byte_view sector, gpt_header& out) {
    if (!starts_with(sector, as_bytes(gpt_signature)) || !read_header(sector, out)) {
        report("gpt-signature-invalid"_id, "Disk GPT header has invalid signature.");
        return result::invalid;
    }
    if (out.size < gpt_header_size || out.size > sector.size()) {
        report("gpt-header-size"_id, "Disk GPT header has invalid size. Actual (%u), expected in range <%zu-%zu>.",
               out.size, gpt_header_size, sector.size())
            .field("size", out.size)
            .field("expected", gpt_header_size)
            .field("limit", sector.size());
        return result::invalid;
    }
    const std::uint32_t actual = header_crc(sector.first(out.size));
    if (actual != out.crc) {
        return refuse_checksum("gpt-header-checksum"_id, "Disk GPT header", actual, out.crc);
    }
    return check_header_fields(out);
}

// What is read is said to be of the boot disk, so a disk that was merely chosen for it is named.
result read_sector_size(disk& boot_disk, std::uint32_t& out) {
    if (const auto choice = boot_disk.choice()) {
        log_text(log_level::info, *choice);
    }
    if (const os_status read = boot_disk.sector_size(out); !ok(read)) {
        report("disk-sector-size-unreadable"_id, "Could not read sector size of the boot disk.").system_error(read);
        return result::io_failure;
    }
    if (!is_sector_size(out)) {
        report("disk-sector-size-unsupported"_id, "Sector size of the boot disk (%u) is not supported.", out)
            .field("size", out);
        return result::invalid;
    }
    return result::success;
}

// Whole sectors, as many as the size takes.
result read_sectors(disk& boot_disk, std::uint64_t lba, std::uint64_t size, std::uint32_t sector_size,
                    const char* what, std::vector<std::uint8_t>& out) {
    const std::uint64_t sectors = (size + sector_size - 1) / sector_size;
    out.resize(static_cast<std::size_t>(sectors * sector_size));
    if (out.empty()) {
        return result::success;
    }
    if (const os_status read = boot_disk.read(lba, out); !ok(read)) {
        report("disk-sectors-unreadable"_id, "Could not read %s from the boot disk.", what)
            .field("first_lba", lba)
            .field("size", out.size())
            .system_error(read);
        return result::io_failure;
    }
    return result::success;
}

bool in_use(const gpt_partition& partition) {
    return std::any_of(partition.type_guid.begin(), partition.type_guid.end(), [](auto byte) { return byte != 0; });
}

void keep_used_entries(byte_view area, std::uint32_t entry_size, std::vector<gpt_partition>& out) {
    byte_reader reader(area);
    byte_view entry;
    gpt_partition partition;
    while (reader.view(entry_size, entry) && read_entry(entry, partition)) {
        if (in_use(partition)) {
            out.push_back(partition);
        }
    }
}

}  // namespace

std::uint32_t crc32(byte_view data, std::uint32_t previous) {
    std::uint32_t crc = ~previous;
    for (const std::uint8_t byte : data) {
        crc = crc_table[(crc ^ byte) & 0xFF] ^ (crc >> 8);
    }
    return ~crc;
}

result build_gpt_partition_list(byte_view gpt_event_data, gpt_partitions& out) {
    out = {gpt_event_label, {}};
    byte_reader reader(gpt_event_data);
    std::uint64_t count = 0;
    const bool counted = reader.skip(gpt_header_size) && reader.u64_le(count);
    if (!counted || reader.remaining() % gpt_entry_size != 0 || reader.remaining() / gpt_entry_size != count) {
        note("gpt-event-entries-malformed"_id).field("size", gpt_event_data.size());
        return result::invalid;
    }
    out.entries.resize(static_cast<std::size_t>(count));
    for (gpt_partition& partition : out.entries) {
        byte_view entry;
        if (!reader.view(gpt_entry_size, entry) || !read_entry(entry, partition)) {
            out.entries.clear();
            return result::invalid;
        }
    }
    return result::success;
}

result read_disk_gpt(disk& boot_disk, gpt_partitions& out) {
    out = {disk_gpt_label, {}};
    std::uint32_t sector_size = 0;
    RETURN_IF_FAILED(read_sector_size(boot_disk, sector_size));
    std::vector<std::uint8_t> sector;
    RETURN_IF_FAILED(read_sectors(boot_disk, gpt_header_lba, sector_size, sector_size, "GPT header", sector));
    gpt_header header;
    RETURN_IF_FAILED(check_header(sector, header));
    std::vector<std::uint8_t> sectors;
    const std::uint64_t area = header.entries_area();
    RETURN_IF_FAILED(
        read_sectors(boot_disk, header.entries_lba, area, sector_size, "GPT partition entries", sectors));
    const byte_view entries = byte_view(sectors).first(static_cast<std::size_t>(area));
    if (const std::uint32_t actual = crc32(entries); actual != header.entries_crc) {
        return refuse_checksum("gpt-entries-checksum"_id, "Disk GPT partition entries", actual, header.entries_crc);
    }
    keep_used_entries(entries, header.entry_size, out.entries);
    return result::success;
}

}  // namespace vellum
