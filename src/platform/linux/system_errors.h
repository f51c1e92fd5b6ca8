// The error numbers of the C library.
#pragma once

#include <cerrno>

#include "platform/system_errors.h"

namespace vellum {

inline std::uint32_t last_error() {
    return static_cast<std::uint32_t>(errno);
}

class linux_system_errors final : public system_errors {
  public:
    os_status last() override;
    std::optional<std::string> text(os_status code) override;
};

}  // namespace vellum
