// The boot disk: its sectors, and the volumes that lie on it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/os_status.h"

namespace vellum {

// Bytes a logical sector. The small one is the usual one.
inline constexpr std::uint32_t usual_sector_size = 512;
inline constexpr std::uint32_t large_sector_size = 4096;

constexpr bool is_sector_size(std::uint64_t bytes) {
    return bytes == usual_sector_size || bytes == large_sector_size;
}

struct disk_volume {
    char letter = 0;              // 'A' to 'Z'; on a system without drive letters one is made up, 'C' for the root
    std::uint64_t first_lba = 0;  // the volume's extent on the boot disk, both ends included
    std::uint64_t last_lba = 0;
    std::string root;  // the directory that holds the volume's files, without a separator at its end

    // The recording that the root has to lie in, every link followed; empty for a volume of this machine.
    std::string recording;

    // The volume's system takes no account of letter case in names, though the file system below the root may.
    bool names_ignore_case = false;
};

class disk {
  public:
    virtual ~disk() = default;

    // Bytes a logical sector, one of the two sizes.
    virtual os_status sector_size(std::uint32_t& bytes) = 0;

    // Fills the buffer, whose size is a multiple of the sector size, from the given sector on. A short read is an
    // error.
    virtual os_status read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) = 0;

    // The volumes of the boot disk that have a letter, by letter.
    virtual os_status volumes(std::vector<disk_volume>& out) = 0;

    // Which disk was taken and why, as a sentence, where the running system does not lie on it; may be shown.
    virtual std::optional<std::string> choice() { return std::nullopt; }
};

}  // namespace vellum
