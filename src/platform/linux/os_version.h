// The version values taken from the kernel's release: "6.8.12-arch" is major 6, minor 8, build "12".
#pragma once

#include <optional>
#include <string_view>

#include "platform/os_version.h"

namespace vellum {

class linux_os_version final : public os_version {
  public:
    // Of the running kernel.
    linux_os_version();

    // Of a release text. A number that it lacks cannot be read.
    explicit linux_os_version(std::string_view release);

    os_status read_major(std::uint32_t& out) override;
    os_status read_minor(std::uint32_t& out) override;
    os_status read_build(std::string& out) override;

  private:
    std::optional<std::uint32_t> major_;
    std::optional<std::uint32_t> minor_;
    std::optional<std::string> build_;
};

}  // namespace vellum
