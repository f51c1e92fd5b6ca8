#include "platform/recorded/disk.h"

#include <algorithm>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/recorded/system_errors.h"

namespace vellum {
namespace {

// A directory below `disk`.
bool stays_inside(std::string_view directory) {
    return !directory.empty() && directory.front() != '/' && directory.find("..") == directory.npos &&
           directory.find_first_of("\\:") == directory.npos;
}

// "C 206848 1026047 C": letter, first and last LBA, directory.
std::optional<disk_volume> parse_volume(std::string_view line, const record_directory& record) {
    const std::string_view letter = take_word(line);
    const auto first = parse_decimal(take_word(line));
    const auto last = parse_decimal(take_word(line));
    const bool well_formed = letter.size() == 1 && letter[0] >= 'A' && letter[0] <= 'Z' && first && last &&
                             *first <= *last && stays_inside(line);
    if (!well_formed) {
        return std::nullopt;
    }
    return disk_volume{letter[0], *first, *last, record.path("disk/") + std::string(line), record.path("")};
}

}  // namespace

result recorded_disk::load(record_directory& record) {
    std::optional<std::uint32_t> size;
    RETURN_IF_FAILED(record.read_number("disk/sector_size", size));
    if (size && !is_sector_size(*size)) {
        return record.malformed("disk/sector_size", "holds neither 512 nor 4096");
    }
    sector_size_ = size.value_or(sector_size_);
    RETURN_IF_FAILED(record.read("disk/sectors.bin", sectors_));
    return load_volumes(record);
}

result recorded_disk::load_volumes(record_directory& record) {
    std::optional<std::string> text;
    const result read = record.read("disk/volumes", text);
    if (!ok(read) || !text) {
        return read;
    }
    volumes_.emplace();
    for (const std::string_view line : lines_of(*text)) {
        const std::optional<disk_volume> volume = parse_volume(line, record);
        if (!volume) {
            return record.malformed("disk/volumes", "has a line that is not \"LETTER FIRST_LBA LAST_LBA DIRECTORY\"");
        }
        if (!record.holds(volume->root)) {
            return record.malformed("disk/volumes", "names a directory that is a link out of the recording");
        }
        volumes_->push_back(*volume);
    }
    const auto by_letter = [](const disk_volume& a, const disk_volume& b) { return a.letter < b.letter; };
    std::sort(volumes_->begin(), volumes_->end(), by_letter);
    const auto same_letter = [](const disk_volume& a, const disk_volume& b) { return a.letter == b.letter; };
    if (std::adjacent_find(volumes_->begin(), volumes_->end(), same_letter) != volumes_->end()) {
        return record.malformed("disk/volumes", "gives one letter to two volumes");
    }
    return result::success;
}

void recorded_disk::ignore_case_of_names() {
    if (volumes_) {
        for (disk_volume& volume : *volumes_) {
            volume.names_ignore_case = true;
        }
    }
}

os_status recorded_disk::sector_size(std::uint32_t& bytes) {
    if (!sectors_) {
        return recorded_not_found;
    }
    bytes = sector_size_;
    return os_status::success;
}

os_status recorded_disk::read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) {
    if (!sectors_) {
        return recorded_not_found;
    }
    const std::uint64_t recorded = sectors_->size() / sector_size_;
    byte_reader reader(*sectors_);
    const bool read = first_lba <= recorded && reader.skip(first_lba * sector_size_) && reader.copy(buffer);
    return read ? os_status::success : recorded_io_error;
}

os_status recorded_disk::volumes(std::vector<disk_volume>& out) {
    out.clear();
    if (!volumes_) {
        return recorded_not_found;
    }
    out = *volumes_;
    return os_status::success;
}

}  // namespace vellum
