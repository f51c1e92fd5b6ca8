// The SMBIOS data as the system hands it out, its head included.
#pragma once

#include "platform/firmware_tables.h"

namespace vellum {

class windows_firmware_tables final : public firmware_tables {
  public:
    std::uint32_t fetch_smbios(std::span<std::uint8_t> buffer) override;
};

}  // namespace vellum
