#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>

#include "base/path.h"
#include "disk/gpt_layout.h"
#include "report/capture.h"

namespace vellum::reporting {
namespace {

constexpr std::uint64_t max_recorded = std::uint64_t{16} * 1024 * 1024;  // bytes

// The end of the entries of the partition table as a number of sectors; nothing when there is no such table, or
// when it is said to reach too far.
std::optional<std::uint64_t> sectors_of_table(byte_view header, std::uint32_t sector_size) {
    byte_reader reader(header);
    std::uint64_t entries_lba = 0;
    std::uint32_t entry_count = 0;
    std::uint32_t entry_size = 0;
    if (!starts_with(header, as_bytes(gpt_signature)) || !reader.skip(gpt_entries_lba_offset) ||
        !reader.u64_le(entries_lba) || !reader.u32_le(entry_count) || !reader.u32_le(entry_size)) {
        return std::nullopt;
    }
    const std::uint64_t limit = max_recorded / sector_size;
    const std::uint64_t bytes = std::uint64_t{entry_count} * entry_size;
    const std::uint64_t sectors = bytes / sector_size + (bytes % sector_size != 0 ? 1 : 0);
    if (entries_lba <= gpt_header_lba || entries_lba > limit || sectors > limit - entries_lba) {
        return std::nullopt;
    }
    return entries_lba + sectors;
}

void capture_sectors(disk& disk, record_writer& out) {
    std::uint32_t sector_size = 0;
    os_status read = disk.sector_size(sector_size);
    std::vector<std::uint8_t> sectors;
    if (ok(read) && !is_sector_size(sector_size)) {
        out.problem("disk/sectors.bin", "sectors of " + std::to_string(sector_size) + " bytes cannot be recorded");
        return;
    }
    if (ok(read)) {
        sectors.resize((gpt_header_lba + 1) * sector_size);
        read = disk.read(0, sectors);
    }
    if (!ok(read)) {
        out.system_problem("disk/sectors.bin", read);
        return;
    }
    const std::optional<std::uint64_t> count =
        sectors_of_table(byte_view(sectors).subspan(gpt_header_lba * sector_size), sector_size);
    if (count) {
        sectors.resize(*count * sector_size);
        read = disk.read(0, sectors);
    } else {
        out.problem("disk/sectors.bin", "the disk has no usable GPT header, only its first two sectors are recorded");
    }
    if (!ok(read)) {
        out.system_problem("disk/sectors.bin", read);
        return;
    }
    out.write("disk/sectors.bin", sectors);
    if (sector_size != usual_sector_size) {
        out.write("disk/sector_size", std::to_string(sector_size) + "\n");
    }
}

void capture_volumes(const std::vector<disk_volume>& volumes, record_writer& out) {
    std::string text;
    for (const disk_volume& volume : volumes) {
        text += std::string(1, volume.letter) + " " + std::to_string(volume.first_lba) + " " +
                std::to_string(volume.last_lba) + " " + volume.letter + "\n";
    }
    out.write("disk/volumes", text);
}

// "c:\bom\system.bom" becomes "bom/system.bom"; nothing for a path that is empty or leaves the volume.
std::optional<std::string> path_on_volume(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    const std::filesystem::path relative = path_of(path).relative_path().lexically_normal();
    if (relative.empty() || !relative.has_filename() || *relative.begin() == "..") {
        return std::nullopt;
    }
    const std::u8string text = relative.generic_u8string();
    return std::string(text.begin(), text.end());
}

void capture_volume_file(const std::vector<disk_volume>& volumes, const std::string& location, record_writer& out) {
    const bool has_letter = location.size() > 2 && location[1] == ':';
    const std::optional<std::string> path = has_letter ? path_on_volume(location.substr(2)) : std::nullopt;
    if (!path) {
        out.problem(location, "a file on a volume is named as LETTER:PATH");
        return;
    }
    const auto letter = static_cast<char>(std::toupper(static_cast<unsigned char>(location[0])));
    const auto volume = std::find_if(volumes.begin(), volumes.end(),
                                     [letter](const disk_volume& candidate) { return candidate.letter == letter; });
    if (volume == volumes.end()) {
        out.problem(location, "the boot disk has no volume of this letter");
        return;
    }
    out.copy(std::string("disk/") + letter + "/" + *path, volume->root + "/" + *path);
}

}  // namespace

void capture_disk(const platform& machine, const std::vector<std::string>& volume_files, record_writer& out) {
    capture_sectors(machine.boot_disk, out);
    std::vector<disk_volume> volumes;
    const os_status read = machine.boot_disk.volumes(volumes);
    if (ok(read)) {
        capture_volumes(volumes, out);
    } else {
        out.system_problem("disk/volumes", read);
    }
    for (const std::string& location : volume_files) {
        capture_volume_file(volumes, location, out);
    }
}

}  // namespace vellum::reporting
