// The values of the INI configuration file: one parser a kind of value.
//
// Each takes the key (for its messages) and the value as it stands in the file, stores what it accepts, logs it at
// debug and returns true; a value that it refuses pushes the reason.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "config/kxl_config.h"
#include "core/log.h"

namespace vellum {

// One byte of the 256 is the terminator of the systems' path form; likewise nothing longer than 512 is a hotkey text.
inline constexpr int config_path_capacity = 256;

// "0" or "1".
bool parse_flag(const char* key, const std::string& value, std::uint8_t& out);

// One of the four source names; another text stores DeviceIdSource::unknown.
bool parse_device_id_source(const char* key, const std::string& value, DeviceIdSource& out);

// One of the two algorithm names.
bool parse_algorithm(const char* key, const std::string& value, seal_signing_algorithm& out);

// Up to 255 characters, also none.
bool parse_path(const char* key, const std::string& value, std::string& out);

// Keystrokes in the syntax of config/hotkey.h, 1 to 7 of them, or none. Stores them packed, with their length.
bool parse_hotkey(const char* key, const std::string& value, seal_configuration& out);

// Seconds, 15 to 2^31-1.
bool parse_interval(const char* key, const std::string& value, std::uint32_t& out);

// "0" to "4" for off, brief, info, debug and trace.
bool parse_file_level(const char* key, const std::string& value, std::optional<log_level>& out);

}  // namespace vellum
