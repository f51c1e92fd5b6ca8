// The operating system's version values, as the system's registry names them: "CurrentMajorVersionNumber" and
// "CurrentMinorVersionNumber" (numbers), "CurrentBuildNumber" (a text).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vellum {

inline constexpr const char* os_major_version_name = "CurrentMajorVersionNumber";
inline constexpr const char* os_minor_version_name = "CurrentMinorVersionNumber";
inline constexpr const char* os_build_name = "CurrentBuildNumber";
inline constexpr std::size_t max_os_build_text = 8192;  // bytes, terminator included

class os_version {
  public:
    virtual ~os_version() = default;

    // Each returns the system's error code, 0 for success; the output is unchanged on failure.
    virtual std::uint32_t read_number(const char* name, std::uint32_t& out) = 0;

    // Fails for a text that does not fit `capacity` bytes with its terminator.
    virtual std::uint32_t read_text(const char* name, std::size_t capacity, std::string& out) = 0;
};

}  // namespace vellum
