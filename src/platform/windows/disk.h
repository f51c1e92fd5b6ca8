// The disk that holds the Windows directory, and the volumes with a letter that lie on it. In a pre-installation
// environment that directory lies in memory; the disk is the machine's first one then. Reading sectors needs
// administrator rights.
#pragma once

#include "platform/disk.h"

namespace vellum {

class windows_disk final : public disk {
  public:
    os_status sector_size(std::uint32_t& bytes) override;
    os_status read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) override;
    os_status volumes(std::vector<disk_volume>& out) override;
    std::optional<std::string> choice() override;
};

}  // namespace vellum
