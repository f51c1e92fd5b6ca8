// The seal configuration: its 16-bit word, and its match with what the operator and the PMF expect.
//
// SKY_PORT_CONFIGURATION is a bit field, little-endian wherever it is stored: in the firmware's response and in the
// PMF's system information. Findings are reported, each mismatch on a line of its own and the summary last.
#pragma once

#include <cstdint>
#include <optional>

#include "base/bytes.h"
#include "base/result.h"
#include "config/kxl_config.h"
#include "core/log.h"
#include "core/stage.h"

namespace vellum {

enum SKY_PORT_CONFIGURATION : std::uint16_t {
    chassis_intrusion_bit = 0x0001,
    bios_lock_bit = 0x0002,
    seal_signing_bit = 0x0008,
    custom_opt_out_bit = 0x0010,
    sed_lock_bit = 0x0040,
    pmf_signing_bit = 0x0100,
    measurement_collection_boot_bit = 0x0800,
    disk_measurement_bit = 0x1000,
    preboot_disk_measurement_bit = 0x2000,
    ironwall_bit = 0x4000,
};

// What the operator expects, and what is recorded with the seal beside its configuration.
struct seal_expectation {
    const seal_configuration& expected;
    DeviceIdSource expected_device_id_source;
    signature_scheme expected_algorithm;
    std::optional<std::uint32_t> sealed_device_id_type;  // none: the seal log has no Seal Configured event
    std::uint32_t sealed_algorithm;                      // that the seal signature names
};

// The reserved bits stay 0. A flag other than 0 and 1 is logged and invalid; `out` is unchanged then.
result ini_seal_config_to_word(const seal_flag_record& flags, std::uint16_t& out);

// The record as it is stored: one byte a flag, in the record's order. Fails when the bytes do not hold all ten.
[[nodiscard]] bool read_seal_flags(byte_view bytes, seal_flag_record& out);

// Reserved bits are dropped.
seal_flag_record word_to_flags(std::uint16_t word);

// Notes each option whose value was another when the seal was measured.
void note_sealed_options(const seal_flag_record& actual, const seal_flag_record& sealed);

// Reports a line for each option that differs; their number, 0 to 10. The labels say whose values the lines give.
int compare_seal_config_words(std::uint16_t actual, const char* actual_label, std::uint16_t expected,
                              const char* expected_label);

// check_failed on a mismatch, internal_failure when the actual flags make no word.
result match_seal_config_with_pmf(const seal_configuration& actual, std::uint16_t pmf_word);

// check_failed on a mismatch (of the Device ID type, which may be unknown: nothing else is compared then), invalid
// when flags make no word or the seal log has no type.
result match_seal_config_with_kxl_config(const seal_configuration& actual, const seal_expectation& expectation);

// Logs the options. Fails with invalid, reported, when the flags make no word.
result print_seal_config(log_level level, const seal_configuration& configuration);

// The stage "Seal Config matches the expected configuration (KXL Config, PMF)"; without a PMF word that match is
// skipped and the stage passes with a warning at best.
stage_outcome check_seal_config(const seal_configuration& actual, std::optional<std::uint16_t> pmf_word,
                                const seal_expectation& expectation);

}  // namespace vellum
