// The block device that holds "/", and the file systems mounted from it. Reading sectors needs administrator rights.
// Drive letters are made up: 'C' for the root, 'D' and on for the others by their place on the disk.
#pragma once

#include <string>

#include "platform/disk.h"

namespace vellum {

class linux_disk final : public disk {
  public:
    // `root` stands in front of every path of the system; empty for the running machine.
    explicit linux_disk(std::string root = "") : root_(std::move(root)) {}

    std::uint32_t sector_size(std::uint32_t& bytes) override;
    std::uint32_t read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) override;
    std::uint32_t volumes(std::vector<disk_volume>& out) override;

  private:
    std::string root_;
};

}  // namespace vellum
