// Texts for the operating system's error codes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/os_status.h"

namespace vellum {

class system_errors {
  public:
    virtual ~system_errors() = default;

    // The system's text for the code as one line, or nothing when the system has none.
    virtual std::optional<std::string> text(os_status code) = 0;
};

}  // namespace vellum
