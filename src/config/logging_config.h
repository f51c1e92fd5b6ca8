#pragma once
#include <optional>
#include <string>
#include "core/log.h"
namespace vellum {
result load_logging_config(const std::string& ini_path, std::optional<std::string>& log_file_path,
                           std::optional<log_level>& level);
}
