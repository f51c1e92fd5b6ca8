// Where and how much a run logs: defaults, then the configuration file, then the command line.
#pragma once

#include <string>

#include "app/command_line.h"
#include "core/log.h"

namespace vellum {

// One byte of the 256 is the terminator of the systems' path form.
inline constexpr std::size_t max_log_path_length = 255;

struct tool_logging {
    log_level cli_level = log_level::info;
    log_level file_level = log_level::debug;
    std::string log_file_path = "kxl.log";
};

// Builds and checks the settings, then starts both sinks. Fails with invalid (a level that is unknown or not allowed,
// an unusable configuration file, a log file that cannot be opened) or internal_failure (an overlong path).
result start_logging(const command_options& options);

}  // namespace vellum
