#include "config/kxl_config.h"

#include <array>
#include <span>

#include "base/text.h"
#include "config/config_values.h"
#include "config/ini_file.h"
#include "core/findings.h"

namespace vellum {
namespace {

// What the keys of both passes fill.
struct ini_settings {
    KxlConfig config;
    std::optional<std::string> log_file_path;
    std::optional<log_level> log_file_level;
};

struct config_entry {
    const char* section;
    const char* key;
    bool (*parse)(const char* key, const std::string& value, ini_settings& out);
};

enum class unknown_keys { refused, ignored };

struct config_table {
    std::span<const config_entry> entries;
    unknown_keys unknown;
};

// The destinations of the parsers -------------------------------------------------------------------------------

template <std::uint8_t seal_flag_record::*Flag>
[[nodiscard]] bool seal_flag(const char* key, const std::string& value, ini_settings& out) {
    return parse_flag(key, value, out.config.seal.flags.*Flag);
}

template <std::string KxlConfig::*Path>
[[nodiscard]] bool path(const char* key, const std::string& value, ini_settings& out) {
    return parse_path(key, value, out.config.*Path);
}

[[nodiscard]] bool device_id_source(const char* key, const std::string& value, ini_settings& out) {
    return parse_device_id_source(key, value, out.config.device_id_source);
}

[[nodiscard]] bool algorithm(const char* key, const std::string& value, ini_settings& out) {
    return parse_algorithm(key, value, out.config.expected_seal_signing_algorithm);
}

[[nodiscard]] bool hotkey(const char* key, const std::string& value, ini_settings& out) {
    return parse_hotkey(key, value, out.config.seal);
}

[[nodiscard]] bool interval(const char* key, const std::string& value, ini_settings& out) {
    return parse_interval(key, value, out.config.seal.opt_out_interval);
}

[[nodiscard]] bool letter_mismatch(const char* key, const std::string& value, ini_settings& out) {
    std::uint8_t flag = 0;
    const bool accepted = parse_flag(key, value, flag);
    out.config.bom_location_volume_letter_mismatch_allowed = flag == 1;
    return accepted;
}

[[nodiscard]] bool log_path(const char* key, const std::string& value, ini_settings& out) {
    return parse_path(key, value, out.log_file_path.emplace());
}

[[nodiscard]] bool log_file_level(const char* key, const std::string& value, ini_settings& out) {
    return parse_file_level(key, value, out.log_file_level);
}

// The full pass checks place and number of the logging keys; their values were taken in the early pass.
bool anything(const char*, const std::string&, ini_settings&) {
    return true;
}

// The keys ------------------------------------------------------------------------------------------------------

constexpr config_entry all_keys[] = {
    {"Expected Seal Configuration", "ChassisIntrusionEnabled", seal_flag<&seal_flag_record::chassis_intrusion>},
    {"Expected Seal Configuration", "BIOSLockEnabled", seal_flag<&seal_flag_record::bios_lock>},
    {"Expected Seal Configuration", "SealSigningEnabled", seal_flag<&seal_flag_record::seal_signing>},
    {"Expected Seal Configuration", "CustomOptOutEnabled", seal_flag<&seal_flag_record::custom_opt_out>},
    {"Expected Seal Configuration", "SEDLockEnabled", seal_flag<&seal_flag_record::sed_lock>},
    {"Expected Seal Configuration", "PMFSigningEnabled", seal_flag<&seal_flag_record::pmf_signing>},
    {"Expected Device Identification", "DeviceIdSource", device_id_source},
    {"Expected Norvane KVR Feature configuration", "IronwallEnabled", seal_flag<&seal_flag_record::ironwall>},
    {"Seal Signature Validation", "ExpectedSealSigningAlgorithm", algorithm},
    {"Seal Signature Validation", "TL3SealIdentityVerificationFile",
     path<&KxlConfig::tl3_seal_identity_verification_file>},
    {"Expected SealSigning_Software", "SealSigningKeyPath", path<&KxlConfig::seal_signing_key_path>},
    {"Expected CustomOptOut", "OptOutHotKey", hotkey},
    {"Expected CustomOptOut", "OptOutIntervalSeconds", interval},
    {"PMF Signature Validation", "TrustedCaDir", path<&KxlConfig::trusted_ca_dir>},
    {"PMF Signature Validation", "IntermediateCaDir", path<&KxlConfig::intermediate_ca_dir>},
    {"PMF Signature Validation", "PMFExternalCertificatePath", path<&KxlConfig::pmf_external_certificate_path>},
    {"Disk Measurements", "BOMLocationVolumeLetterMismatchAllowed", letter_mismatch},
    {"Logging", "FileLogPath", anything},
    {"Logging", "FileLogLevel", anything},
};

constexpr config_entry logging_keys[] = {
    {"Logging", "FileLogPath", log_path},
    {"Logging", "FileLogLevel", log_file_level},
};

// How often each entry of a table was met.
using seen_counts = std::array<std::uint8_t, std::size(all_keys)>;
static_assert(std::size(logging_keys) <= std::size(all_keys));

std::optional<std::size_t> find_key(const config_table& table, const std::string& key) {
    for (std::size_t i = 0; i < table.entries.size(); ++i) {
        if (key == table.entries[i].key) {
            return i;
        }
    }
    return std::nullopt;
}

// The place of a known parameter: under its own section, and once.
bool in_place(const config_entry& entry, const ini_parameter& parameter, std::uint8_t seen) {
    if (parameter.section != entry.section) {
        report("config-key-in-wrong-section"_id,
               "Parameter \"%s\" is expected to be under section \"%s\", not section \"%s\".", entry.key,
               entry.section, shown_text(parameter.section).c_str())
            .field("key", entry.key)
            .field("section", parameter.section)
            .field("expected", entry.section)
            .field("line", parameter.line);
        return false;
    }
    if (seen != 0) {
        report("config-key-repeated"_id, "Found duplicated parameter \"%s\" in section \"%s\".", entry.key,
               entry.section)
            .field("key", entry.key)
            .field("section", entry.section)
            .field("line", parameter.line);
        return false;
    }
    return true;
}

[[nodiscard]] bool handle(const config_table& table, const ini_parameter& parameter, seen_counts& seen,
                          ini_settings& out) {
    if (parameter.section.empty()) {
        report("config-key-without-section"_id, "Each parameter in config file has to be defined under section.")
            .field("key", parameter.key)
            .field("line", parameter.line);
        return false;
    }
    const std::optional<std::size_t> row = find_key(table, parameter.key);
    if (!row && table.unknown == unknown_keys::ignored) {
        return true;
    }
    if (!row) {
        report("config-key-unknown"_id, "Parameter \"%s\" in section \"%s\" is not expected.",
               shown_text(parameter.key).c_str(), shown_text(parameter.section).c_str())
            .field("key", parameter.key)
            .field("section", parameter.section)
            .field("line", parameter.line);
        return false;
    }
    const config_entry& entry = table.entries[*row];
    if (!in_place(entry, parameter, seen[*row])) {
        return false;
    }
    ++seen[*row];
    return entry.parse(entry.key, parameter.value, out);
}

// The first line of the file that is malformed or holds a refused parameter; 0 when there is none.
int handle_all(const config_table& table, const ini_content& content, ini_settings& out) {
    seen_counts seen{};
    for (const ini_parameter& parameter : content.parameters) {
        if (!handle(table, parameter, seen, out)) {
            return parameter.line;
        }
    }
    return content.bad_line;
}

result parse_config_file(const config_table& table, const std::string& ini_path, ini_settings& out) {
    log_at(log_level::debug, "[Ini Config] Parsing configuration file: %s", shown_text(ini_path).c_str());
    ini_content content;
    RETURN_IF_FAILED(read_ini_file(ini_path, content));
    const int bad_line = handle_all(table, content, out);
    if (bad_line != 0) {
        report("config-file-malformed"_id, "Failed parsing configuration file: %s at line %d.",
               shown_text(ini_path).c_str(), bad_line)
            .field("file", ini_path)
            .field("line", bad_line);
        return result::invalid;
    }
    log_at(log_level::debug, "[Ini Config] Configuration loaded successfully");
    return result::success;
}

}  // namespace

result load_config(const std::string& ini_path, KxlConfig& out) {
    ini_settings settings;
    const result parsed = parse_config_file({all_keys, unknown_keys::refused}, ini_path, settings);
    out = settings.config;
    return parsed;
}

result load_logging_config(const std::string& ini_path, std::optional<std::string>& log_file_path,
                           std::optional<log_level>& level) {
    ini_settings settings;
    const result parsed = parse_config_file({logging_keys, unknown_keys::ignored}, ini_path, settings);
    log_file_path = settings.log_file_path;
    level = settings.log_file_level;
    return parsed;
}

}  // namespace vellum
