// The SMBIOS data as the system hands it out, its head included.
#pragma once

#include "platform/firmware_tables.h"

namespace vellum {

class windows_firmware_tables final : public firmware_tables {
  public:
    os_status read(std::vector<std::uint8_t>& out) override;
};

}  // namespace vellum
