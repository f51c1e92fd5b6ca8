// The block device that holds "/", and the file systems mounted from it. Where "/" lies on none, it is the disk with
// the partition that the firmware's current boot entry names, else the only fixed disk. Reading sectors needs
// administrator rights. Drive letters are made up: 'C' for the root, 'D' and on for the others by their place on the
// disk; without a root they begin at 'C'.
#pragma once

#include <filesystem>
#include <string>

#include "platform/disk.h"
#include "platform/linux/block_devices.h"

namespace vellum {

struct found_disk {
    std::filesystem::path directory;  // in the device tree
    std::uint32_t sector_size = 0;
    std::vector<mounted_volume> volumes;  // of all disks
    std::string choice;                   // empty where the root directory lies on it
};

class linux_disk final : public disk {
  public:
    // `root` stands in front of every path of the system; empty for the running machine.
    explicit linux_disk(std::string root = "") : root_(std::move(root)) {}

    os_status sector_size(std::uint32_t& bytes) override;
    os_status read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) override;
    os_status volumes(std::vector<disk_volume>& out) override;
    std::optional<std::string> choice() override;

  private:
    os_status find();

    std::string root_;
    std::optional<found_disk> found_;  // once it was asked for: a run sees one machine
};

}  // namespace vellum
