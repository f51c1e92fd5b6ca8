// The SMBIOS data of the file `smbios.bin`, head included.
#pragma once

#include <optional>
#include <vector>

#include "platform/firmware_tables.h"
#include "platform/recorded/record_directory.h"

namespace vellum {

class recorded_firmware_tables final : public firmware_tables {
  public:
    result load(record_directory& record) { return record.read("smbios.bin", data_); }

    os_status read(std::vector<std::uint8_t>& out) override;

  private:
    std::optional<std::vector<std::uint8_t>> data_;
};

}  // namespace vellum
