// Texts for the operating system's error codes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vellum {

class system_errors {
  public:
    virtual ~system_errors() = default;

    // The code of this thread's last failed system call.
    virtual std::uint32_t last() = 0;

    // The system's text for the code as one line, or nothing when the system has none.
    virtual std::optional<std::string> text(std::uint32_t code) = 0;
};

}  // namespace vellum
