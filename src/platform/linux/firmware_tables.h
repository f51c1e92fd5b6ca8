// The SMBIOS structure table that the kernel publishes, behind a head made up for it. Needs administrator rights.
#pragma once

#include <string>

#include "platform/firmware_tables.h"

namespace vellum {

class linux_firmware_tables final : public firmware_tables {
  public:
    // `root` stands in front of every path of the system; empty for the running machine.
    explicit linux_firmware_tables(std::string root = "") : root_(std::move(root)) {}

    os_status read(std::vector<std::uint8_t>& out) override;

  private:
    std::string root_;
};

}  // namespace vellum
