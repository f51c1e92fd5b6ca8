// The values of the INI configuration file: one parser a kind of value.
//
// Each takes the key (for its messages) and the value as it stands in the file, stores what it accepts, logs it at
// debug and returns true; a value that it refuses reports the reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "config/kxl_config.h"
#include "core/log.h"

namespace vellum {

// A path of the settings is shorter: one byte is the terminator of the systems' path form.
inline constexpr std::size_t config_path_capacity = 256;

// The levels that a user can ask for, by the number that stands for them here and on the command line.
struct level_choice {
    const char* digit;
    log_level level;
    const char* name;
};

inline constexpr level_choice level_choices[] = {
    {"0", log_level::off, "OFF"},     {"1", log_level::brief, "BRIEF"}, {"2", log_level::info, "INFO"},
    {"3", log_level::debug, "DEBUG"}, {"4", log_level::trace, "TRACE"},
};

// "0" or "1".
[[nodiscard]] bool parse_flag(const char* key, const std::string& value, std::uint8_t& out);

// One of the four source names; another text stores DeviceIdSource::unknown.
[[nodiscard]] bool parse_device_id_source(const char* key, const std::string& value, DeviceIdSource& out);

// One of the two algorithm names.
[[nodiscard]] bool parse_algorithm(const char* key, const std::string& value, signature_scheme& out);

// Up to 255 characters, also none.
[[nodiscard]] bool parse_path(const char* key, const std::string& value, std::string& out);

// Keystrokes in the syntax of config/hotkey.h, 1 to 7 of them, or none. Stores them packed, with their length.
[[nodiscard]] bool parse_hotkey(const char* key, const std::string& value, seal_configuration& out);

// Seconds, 15 to 2^31-1.
[[nodiscard]] bool parse_interval(const char* key, const std::string& value, std::uint32_t& out);

// "0" to "4" for off, brief, info, debug and trace.
[[nodiscard]] bool parse_file_level(const char* key, const std::string& value, std::optional<log_level>& out);

}  // namespace vellum
