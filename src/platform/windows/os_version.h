// The version values of the running system in the local machine's registry.
#pragma once

#include "platform/os_version.h"

namespace vellum {

class windows_os_version final : public os_version {
  public:
    std::uint32_t read_number(const char* name, std::uint32_t& out) override;
    std::uint32_t read_text(const char* name, std::size_t capacity, std::string& out) override;
};

}  // namespace vellum
