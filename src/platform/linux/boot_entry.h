// The entry of the firmware's boot menu that started the running system, from the UEFI variables that the kernel
// publishes (UEFI Specification, "Load Options" and "Device Path Protocol").
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vellum {

// The partition that the entry's device path names.
struct boot_partition {
    std::string entry;         // "Boot####"
    std::uint32_t number = 0;  // of the partition, from 1
    std::uint64_t first = 0;   // its extent in the disk's own sectors
    std::uint64_t count = 0;
};

// Nothing when the firmware does not say, or names what is no partition of a disk, such as the network. `root` stands
// in front of every path of the system.
std::optional<boot_partition> partition_of_boot_entry(const std::string& root);

}  // namespace vellum
