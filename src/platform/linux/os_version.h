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

    std::uint32_t read_number(const char* name, std::uint32_t& out) override;
    std::uint32_t read_text(const char* name, std::size_t capacity, std::string& out) override;

  private:
    std::optional<std::uint32_t> major_;
    std::optional<std::uint32_t> minor_;
    std::optional<std::string> build_;
};

}  // namespace vellum
