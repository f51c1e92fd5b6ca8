// The disks of the machine, the mounted file systems and where they lie on a disk, from the kernel's mount table and
// its device tree.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/boot_entry.h"

namespace vellum {

// The kernel counts in sectors of this size, in bytes, whatever the disk's own.
inline constexpr std::uint64_t kernel_sector_size = 512;

struct mounted_volume {
    std::string point;           // where it is mounted
    std::filesystem::path disk;  // the disk's directory in the device tree
    std::uint64_t first = 0;     // its extent on the disk in kernel sectors
    std::uint64_t count = 0;
};

// The volumes that lie on one partition or disk each, directly or through mapped devices with one device below each
// other; one volume an extent. The one at "/" comes first, if it is such a volume; the others follow by disk and
// place. `root` stands in front of every path.
std::vector<mounted_volume> mounted_volumes(const std::string& root);

// Directories of disks in the device tree: those that have the partition at its place, and those that are neither
// removable nor read-only nor made up by the kernel.
std::vector<std::filesystem::path> disks_with(const std::string& root, const boot_partition& partition);
std::vector<std::filesystem::path> fixed_disks(const std::string& root);

// Bytes a logical sector of the disk, where that is a size that is known.
std::optional<std::uint32_t> sector_size_of(const std::filesystem::path& disk);

// The number that the device tree's file holds.
std::optional<std::uint64_t> read_device_number(const std::filesystem::path& path);

}  // namespace vellum
