// The operating system's version values, as the system's registry names them: "CurrentMajorVersionNumber" and
// "CurrentMinorVersionNumber" (numbers), "CurrentBuildNumber" (a text).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/os_status.h"

namespace vellum {

inline constexpr const char* os_major_version_name = "CurrentMajorVersionNumber";
inline constexpr const char* os_minor_version_name = "CurrentMinorVersionNumber";
inline constexpr const char* os_build_name = "CurrentBuildNumber";
inline constexpr std::size_t max_os_build_text = 8191;  // bytes; a longer one is not read

class os_version {
  public:
    virtual ~os_version() = default;

    // The output is unchanged on failure.
    virtual os_status read_major(std::uint32_t& out) = 0;
    virtual os_status read_minor(std::uint32_t& out) = 0;
    virtual os_status read_build(std::string& out) = 0;
};

}  // namespace vellum
