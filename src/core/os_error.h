// The system's words for its error codes, from the services of this run.
#pragma once

#include <string>

#include "base/os_status.h"

namespace vellum {

class system_errors;

// What os_error_text() asks, from log_start() to log_stop(), which bind it; null: nobody.
void bind_system_errors(system_errors* errors);

// The system's text for the code, its hexadecimal form when the system has none, or a fixed text when there is no
// memory for it. Each is logged.
std::string os_error_text(os_status status);

}  // namespace vellum
