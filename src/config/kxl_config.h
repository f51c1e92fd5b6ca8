// The expectations of a run: the settings of the INI configuration file.
//
// load_config() reads the whole file and knows every section and key; load_logging_config() is the early pass that
// looks at the section "Logging" alone. Both refuse a file at its first bad line and name the line; what was stored
// before that line must not be used.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"
#include "config/signature_scheme.h"
#include "core/log.h"

namespace vellum {

enum class DeviceIdSource : std::uint32_t {
    UUID = 0,
    SERIAL_NUMBER = 1,
    OEM_DEFINED_LITERAL = 2,
    OEM_DEFINED_BLOB = 3,
    unknown = 5,
};

// One byte a flag, each 0 or 1. The firmware's configuration is brought into the same shape.
struct seal_flag_record {
    std::uint8_t chassis_intrusion = 0;
    std::uint8_t bios_lock = 0;
    std::uint8_t disk_measurement_required = 0;
    std::uint8_t seal_signing = 0;
    std::uint8_t custom_opt_out = 0;
    std::uint8_t preboot_disk_measurement_required = 0;
    std::uint8_t sed_lock = 0;
    std::uint8_t ironwall = 0;
    std::uint8_t pmf_signing = 0;
    std::uint8_t measurement_collection_boot = 0;
};

inline constexpr std::size_t max_hotkey_text = 512;

// A seal configuration: the flags, and the custom opt-out that goes with one of them.
struct seal_configuration {
    seal_flag_record flags;
    std::uint32_t hotkey_length = 0;                     // bytes of `hotkey` that count
    std::array<std::uint8_t, max_hotkey_text> hotkey{};  // packed key records, see config/hotkey.h
    std::uint32_t opt_out_interval = 0;                  // seconds
};

// Keys that are absent from the file leave the values below.
struct KxlConfig {
    seal_configuration seal;
    std::string seal_signing_key_path;
    DeviceIdSource device_id_source = DeviceIdSource::UUID;
    std::string trusted_ca_dir;
    std::string intermediate_ca_dir;
    std::string pmf_external_certificate_path;
    signature_scheme expected_seal_signing_algorithm = signature_scheme::sha256_rsa_2048_pkcs1;
    std::string tl3_seal_identity_verification_file;
    bool bom_location_volume_letter_mismatch_allowed = false;
};

// The full pass. Fails with invalid, or with internal_failure when memory is exhausted; the reasons are reported, the
// line of the file last.
result load_config(const std::string& ini_path, KxlConfig& out);

// The early pass. A value that the file does not give is absent.
result load_logging_config(const std::string& ini_path, std::optional<std::string>& log_file_path,
                           std::optional<log_level>& level);

}  // namespace vellum
