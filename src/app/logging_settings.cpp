#include "app/logging_settings.h"

#include <filesystem>
#include <iterator>
#include <optional>
#include <string>

#include "base/text.h"
#include "config/config_values.h"
#include "config/kxl_config.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

struct tool_logging {
    log_level cli_level = log_level::info;
    log_level file_level = log_level::debug;
    std::string log_file_path = "kxl.log";
};

const char* name_of(log_level level) {
    for (const level_choice& row : level_choices) {
        if (row.level == level) {
            return row.name;
        }
    }
    return "";
}

// `source` names the value in the message of a path that does not fit.
result set_path(const std::string& path, const char* source, tool_logging& settings) {
    if (path.size() >= config_path_capacity) {
        log_at(log_level::error, "Copying %s to log_file_path failed on memcpy_s() call.", source);
        note("log-file-path-length"_id)
            .field("file", path)
            .field("size", path.size())
            .field("limit", config_path_capacity - 1);
        return result::internal_failure;
    }
    settings.log_file_path = path;
    return result::success;
}

// `sink` is "Cli" or "File".
result set_level(std::optional<int> typed, const char* sink, log_level& out) {
    if (!typed) {
        return result::success;
    }
    if (*typed < 0 || static_cast<std::size_t>(*typed) >= std::size(level_choices)) {
        report("log-level-invalid"_id, "%s log level %d provided in command line is invalid.", sink, *typed)
            .field("name", sink)
            .field("value", *typed);
        return result::invalid;
    }
    out = level_choices[*typed].level;
    return result::success;
}

result apply_config_file(const command_options& options, tool_logging& settings) {
    std::error_code error;
    if (!options.config_file && !std::filesystem::exists(default_config_file, error)) {
        return result::success;
    }
    std::optional<std::string> path;
    std::optional<log_level> level;
    RETURN_IF_FAILED(load_logging_config(options.config_file.value_or(default_config_file), path, level));
    settings.file_level = level.value_or(settings.file_level);
    return path ? set_path(*path, "log_file_path_temp", settings) : result::success;
}

result apply_command_line(const command_options& options, tool_logging& settings) {
    if (options.log_file) {
        RETURN_IF_FAILED(set_path(*options.log_file, "filename", settings));
    }
    RETURN_IF_FAILED(set_level(options.cli_level, "Cli", settings.cli_level));
    return set_level(options.file_level, "File", settings.file_level);
}

result build(const command_options& options, tool_logging& settings) {
    result built = apply_config_file(options, settings);
    if (ok(built)) {
        built = apply_command_line(options, settings);
    }
    if (!ok(built)) {
        report("logging-settings-failed"_id, "Internal error occurred while setting default logging options.");
    }
    return built;
}

// Trace can be named but not chosen.
bool allowed(log_level level) {
    return level == log_level::off || level == log_level::brief || level == log_level::info ||
           level == log_level::debug;
}

result check(const tool_logging& settings) {
    if (!allowed(settings.cli_level)) {
        report("console-level-refused"_id, "Provided cli logging level is not allowed.")
            .field("value", name_of(settings.cli_level));
        return result::invalid;
    }
    if (!allowed(settings.file_level)) {
        report("file-level-refused"_id, "Provided file logging level is not allowed.")
            .field("value", name_of(settings.file_level));
        return result::invalid;
    }
    return result::success;
}

result start_file(const tool_logging& settings) {
    const std::string shown = shown_text(settings.log_file_path);
    if (!ok(open_log_file(settings.log_file_path.c_str()))) {
        write_console_always("ERROR: Cannot open log file: " + shown + " \n", colour::red);
        note("log-file-not-opened"_id).field("file", settings.log_file_path);
        return result::invalid;
    }
    set_file_threshold(settings.file_level);
    constexpr std::size_t rule_width = 120;
    write_file(settings.file_level, std::string(rule_width, '=') + "\n");
    if (settings.cli_level > log_level::info) {
        log_at(log_level::debug, "Enabled logging to file %s\n", shown.c_str());
    } else {
        log_to_file(log_level::info, "Enabled logging to file %s\n", shown.c_str());
    }
    return result::success;
}

result start_sinks(const tool_logging& settings) {
    set_console_threshold(settings.cli_level);
    if (settings.file_level == log_level::off) {
        log_at(log_level::debug, "Disabled logging to file. No log file created.\n");
    } else {
        RETURN_IF_FAILED(start_file(settings));
    }
    log_at(log_level::debug, "Setting cli log level to %s\n", name_of(settings.cli_level));
    log_at(log_level::debug, "Setting file log level to %s\n", name_of(settings.file_level));
    return result::success;
}

}  // namespace

result start_logging(const command_options& options) {
    tool_logging settings;
    RETURN_IF_FAILED(build(options, settings));
    RETURN_IF_FAILED(check(settings));
    return start_sinks(settings);
}

}  // namespace vellum
