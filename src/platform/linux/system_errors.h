// The error numbers of the C library.
#pragma once

#include "platform/system_errors.h"

namespace vellum {

class linux_system_errors final : public system_errors {
  public:
    std::optional<std::string> text(os_status code) override;
};

}  // namespace vellum
