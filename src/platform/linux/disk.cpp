#include "platform/linux/disk.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/linux/block_devices.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/system_errors.h"

namespace vellum {
namespace {

constexpr char root_letter = 'C';
constexpr char last_letter = 'Z';

struct boot_disk {
    std::filesystem::path directory;  // in the device tree
    std::uint32_t sector_size = 0;
    std::vector<mounted_volume> volumes;
};

std::uint32_t find_boot_disk(const std::string& root, boot_disk& out) {
    out.volumes = mounted_volumes(root);
    if (out.volumes.empty() || out.volumes.front().point != "/") {
        return ENODEV;
    }
    out.directory = out.volumes.front().disk;
    const auto size = read_device_number(out.directory / "queue" / "logical_block_size");
    if (!size || !is_sector_size(*size)) {
        return ENODEV;
    }
    out.sector_size = static_cast<std::uint32_t>(*size);
    return 0;
}

// A slash in a device's name is an exclamation mark in the device tree.
std::string device_node(const std::string& root, const boot_disk& disk) {
    std::string name = disk.directory.filename().string();
    std::replace(name.begin(), name.end(), '!', '/');
    return root + "/dev/" + name;
}

std::uint32_t read_fully(int file, off_t offset, std::span<std::uint8_t> buffer) {
    while (!buffer.empty()) {
        const ssize_t got = ::pread(file, buffer.data(), buffer.size(), offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got == 0 ? EIO : last_error();
        }
        offset += got;
        buffer = buffer.subspan(static_cast<std::size_t>(got));
    }
    return 0;
}

}  // namespace

std::uint32_t linux_disk::sector_size(std::uint32_t& bytes) {
    boot_disk disk;
    const std::uint32_t found = find_boot_disk(root_, disk);
    if (found == 0) {
        bytes = disk.sector_size;
    }
    return found;
}

std::uint32_t linux_disk::read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) {
    boot_disk disk;
    const std::uint32_t found = find_boot_disk(root_, disk);
    if (found != 0) {
        return found;
    }
    constexpr auto max_offset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
    if (first_lba > (max_offset - buffer.size()) / disk.sector_size) {
        return EINVAL;
    }
    const descriptor file(::open(device_node(root_, disk).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.valid()) {
        return last_error();
    }
    return read_fully(file.get(), static_cast<off_t>(first_lba * disk.sector_size), buffer);
}

std::uint32_t linux_disk::volumes(std::vector<disk_volume>& out) {
    out.clear();
    boot_disk disk;
    const std::uint32_t found = find_boot_disk(root_, disk);
    if (found != 0) {
        return found;
    }
    const std::uint64_t per_sector = disk.sector_size / kernel_sector_size;
    char letter = root_letter;
    for (const mounted_volume& mounted : disk.volumes) {
        if (mounted.disk == disk.directory && mounted.count >= per_sector && letter <= last_letter) {
            disk_volume& volume = out.emplace_back();
            volume.letter = letter++;
            volume.first_lba = mounted.first / per_sector;
            volume.last_lba = volume.first_lba + mounted.count / per_sector - 1;
            volume.root = root_ + (mounted.point == "/" ? "" : mounted.point);
        }
    }
    return 0;
}

}  // namespace vellum
