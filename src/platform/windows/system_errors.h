// The system's error codes and their texts from the system's message table.
#pragma once

#include "platform/system_errors.h"

namespace vellum {

class windows_system_errors final : public system_errors {
  public:
    std::optional<std::string> text(os_status code) override;
};

}  // namespace vellum
