#include "platform/linux/disk.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "base/result.h"
#include "base/text.h"
#include "platform/last_status.h"
#include "platform/linux/boot_entry.h"
#include "platform/linux/descriptor.h"

namespace vellum {
namespace {

constexpr char root_letter = 'C';
constexpr char last_letter = 'Z';

// A slash in a device's name is an exclamation mark in the device tree.
std::string node_of(const std::filesystem::path& disk) {
    std::string name = disk.filename().string();
    std::replace(name.begin(), name.end(), '!', '/');
    return "/dev/" + name;
}

std::string choice_of(const std::filesystem::path& disk, const std::string& reason) {
    return "The root directory lies on no disk. Disk \"" + shown_text(node_of(disk)) +
           "\" is taken for the boot disk, " + reason;
}

// Where the root directory lies in memory or on the network, as that of a rescue system may.
void choose_disk(const std::string& root, found_disk& out) {
    if (const auto partition = partition_of_boot_entry(root)) {
        if (const auto disks = disks_with(root, *partition); disks.size() == 1) {
            out.directory = disks.front();
            out.choice =
                choice_of(out.directory, "as it holds partition " + std::to_string(partition->number) +
                                             " of the firmware's current boot entry " + partition->entry + ".");
            return;
        }
    }
    if (const auto disks = fixed_disks(root); disks.size() == 1) {
        out.directory = disks.front();
        out.choice = choice_of(out.directory, "as the only fixed one of the machine.");
    }
}

os_status find_boot_disk(const std::string& root, found_disk& out) {
    out.volumes = mounted_volumes(root);
    if (!out.volumes.empty() && out.volumes.front().point == "/") {
        out.directory = out.volumes.front().disk;
    } else {
        choose_disk(root, out);
    }
    const auto size = out.directory.empty() ? std::nullopt : sector_size_of(out.directory);
    if (!size) {
        return os_status(ENODEV);
    }
    out.sector_size = *size;
    return os_status::success;
}

os_status read_fully(int file, off_t offset, std::span<std::uint8_t> buffer) {
    while (!buffer.empty()) {
        const ssize_t got = ::pread(file, buffer.data(), buffer.size(), offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got == 0 ? os_status(EIO) : last_status();
        }
        offset += got;
        buffer = buffer.subspan(static_cast<std::size_t>(got));
    }
    return os_status::success;
}

}  // namespace

os_status linux_disk::find() {
    if (found_) {
        return os_status::success;
    }
    found_disk disk;
    RETURN_IF_FAILED(find_boot_disk(root_, disk));
    found_ = std::move(disk);
    return os_status::success;
}

os_status linux_disk::sector_size(std::uint32_t& bytes) {
    RETURN_IF_FAILED(find());
    bytes = found_->sector_size;
    return os_status::success;
}

os_status linux_disk::read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) {
    RETURN_IF_FAILED(find());
    constexpr auto max_offset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
    if (first_lba > (max_offset - buffer.size()) / found_->sector_size) {
        return os_status(EINVAL);
    }
    const std::string node = root_ + node_of(found_->directory);
    const descriptor file(::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.valid()) {
        return last_status();
    }
    return read_fully(file.get(), static_cast<off_t>(first_lba * found_->sector_size), buffer);
}

os_status linux_disk::volumes(std::vector<disk_volume>& out) {
    out.clear();
    RETURN_IF_FAILED(find());
    const std::uint64_t per_sector = found_->sector_size / kernel_sector_size;
    char letter = root_letter;
    for (const mounted_volume& mounted : found_->volumes) {
        if (mounted.disk == found_->directory && mounted.count >= per_sector && letter <= last_letter) {
            disk_volume& volume = out.emplace_back();
            volume.letter = letter++;
            volume.first_lba = mounted.first / per_sector;
            volume.last_lba = volume.first_lba + mounted.count / per_sector - 1;
            volume.root = root_ + (mounted.point == "/" ? "" : mounted.point);
        }
    }
    return os_status::success;
}

std::optional<std::string> linux_disk::choice() {
    return ok(find()) && !found_->choice.empty() ? std::optional(found_->choice) : std::nullopt;
}

}  // namespace vellum
