// The version values of the file `os_version`: "major.minor.build". The build is a text of digits, of any length.
#pragma once

#include <optional>

#include "platform/os_version.h"
#include "platform/recorded/record_directory.h"

namespace vellum {

class recorded_os_version final : public os_version {
  public:
    result load(record_directory& record);

    // Whether it is a version of a system that takes no account of letter case in the names of files.
    bool is_of_case_blind_system() const;

    os_status read_major(std::uint32_t& out) override;
    os_status read_minor(std::uint32_t& out) override;
    os_status read_build(std::string& out) override;

  private:
    struct version {
        std::uint32_t major_number = 0;
        std::uint32_t minor_number = 0;
        std::string build;
    };

    template <typename Value>
    os_status give(Value version::*part, Value& out) const;

    std::optional<version> version_;
};

}  // namespace vellum
