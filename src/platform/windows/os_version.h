// The version values of the running system in the local machine's registry.
#pragma once

#include "platform/os_version.h"

namespace vellum {

class windows_os_version final : public os_version {
  public:
    os_status read_major(std::uint32_t& out) override;
    os_status read_minor(std::uint32_t& out) override;
    os_status read_build(std::string& out) override;
};

}  // namespace vellum
