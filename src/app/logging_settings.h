// Where and how much a run logs: defaults, then the configuration file, then the command line.
#pragma once

#include "app/command_line.h"
#include "base/result.h"

namespace vellum {

// Builds and checks the settings, then starts both sinks. Fails with invalid (a level that is unknown or not allowed,
// an unusable configuration file, a log file that cannot be opened) or internal_failure (an overlong path).
result start_logging(const command_options& options);

}  // namespace vellum
