// The boot disk of the directory `disk`: its first sectors in `sectors.bin`, the size of one in `sector_size`, its
// volumes in `volumes`.
#pragma once

#include <optional>
#include <vector>

#include "platform/disk.h"
#include "platform/recorded/record_directory.h"

namespace vellum {

class recorded_disk final : public disk {
  public:
    result load(record_directory& record);

    // For a device whose system takes no account of letter case; once loaded.
    void ignore_case_of_names();

    os_status sector_size(std::uint32_t& bytes) override;
    os_status read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) override;
    os_status volumes(std::vector<disk_volume>& out) override;

  private:
    result load_volumes(record_directory& record);

    std::uint32_t sector_size_ = usual_sector_size;
    std::optional<std::vector<std::uint8_t>> sectors_;
    std::optional<std::vector<disk_volume>> volumes_;
};

}  // namespace vellum
