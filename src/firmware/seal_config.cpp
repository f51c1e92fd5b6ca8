#include "firmware/seal_config.h"
#include "core/findings.h"

namespace vellum {
namespace {

struct flag_row {
    std::uint8_t seal_flag_record::*flag;
    std::uint16_t mask;
    const char* name;
};

// In the order in which flags are checked.
constexpr flag_row flags_of_word[] = {
    {&seal_flag_record::bios_lock, bios_lock_bit, "BIOS Lock enabled"},
    {&seal_flag_record::chassis_intrusion, chassis_intrusion_bit, "Chassis intrusion enabled"},
    {&seal_flag_record::disk_measurement_required, disk_measurement_bit, "Disk measurement required"},
    {&seal_flag_record::custom_opt_out, custom_opt_out_bit, "Custom Opt-Out enabled"},
    {&seal_flag_record::preboot_disk_measurement_required, preboot_disk_measurement_bit,
     "PreBoot Disk Measurement required"},
    {&seal_flag_record::seal_signing, seal_signing_bit, "Seal signing enabled"},
    {&seal_flag_record::sed_lock, sed_lock_bit, "SED Lock enabled"},
    {&seal_flag_record::ironwall, ironwall_bit, "Ironwall enabled"},
    {&seal_flag_record::pmf_signing, pmf_signing_bit, "PMF signing enabled"},
    {&seal_flag_record::measurement_collection_boot, measurement_collection_boot_bit, "Measurement Collection Boot"},
};

struct option_row {
    std::uint16_t mask;
    const char* name;
};

// In the order in which options are compared.
constexpr option_row compared_options[] = {
    {chassis_intrusion_bit, "Chassis Intrusion Enabled"},
    {bios_lock_bit, "Bios Lock Enabled"},
    {disk_measurement_bit, "Disk Measurements Enabled"},
    {measurement_collection_boot_bit, "Measurement Collection Boot"},
    {custom_opt_out_bit, "Custom Opt Out Enabled"},
    {preboot_disk_measurement_bit, "Pre Boot Disk Measurements"},
    {seal_signing_bit, "Seal Signing Enabled"},
    {sed_lock_bit, "SED Lock Enabled"},
    {ironwall_bit, "Ironwall Enabled"},
    {pmf_signing_bit, "PMF Signing Enabled"},
};

int bit(std::uint16_t word, std::uint16_t mask) {
    return (word & mask) != 0 ? 1 : 0;
}

}  // namespace

result ini_seal_config_to_word(const seal_flag_record& flags, std::uint16_t& out) {
    std::uint16_t word = 0;
    for (const flag_row& row : flags_of_word) {
        const std::uint8_t value = flags.*row.flag;
        if (value > 1) {
            log_at(log_level::error, "%s has invalid value %hhu.", row.name, value);
            note("seal-option-invalid"_id).field("name", row.name).field("value", value);
            return result::invalid;
        }
        word = static_cast<std::uint16_t>(word | (value != 0 ? row.mask : 0));
    }
    out = word;
    return result::success;
}

bool read_seal_flags(byte_view bytes, seal_flag_record& out) {
    byte_reader reader(bytes);
    return reader.u8(out.chassis_intrusion) && reader.u8(out.bios_lock) && reader.u8(out.disk_measurement_required) &&
           reader.u8(out.seal_signing) && reader.u8(out.custom_opt_out) &&
           reader.u8(out.preboot_disk_measurement_required) && reader.u8(out.sed_lock) && reader.u8(out.ironwall) &&
           reader.u8(out.pmf_signing) && reader.u8(out.measurement_collection_boot);
}

seal_flag_record word_to_flags(std::uint16_t word) {
    seal_flag_record flags;
    for (const flag_row& row : flags_of_word) {
        flags.*row.flag = static_cast<std::uint8_t>(bit(word, row.mask));
    }
    return flags;
}

void note_sealed_options(const seal_flag_record& actual, const seal_flag_record& sealed) {
    for (const flag_row& row : flags_of_word) {
        if (actual.*row.flag != sealed.*row.flag) {
            note("sealed-option-differs"_id)
                .field("name", row.name)
                .field("expected", sealed.*row.flag)
                .field("expected_source", "TPM Log")
                .field("actual", actual.*row.flag);
        }
    }
}

int compare_seal_config_words(std::uint16_t actual, const char* actual_label, std::uint16_t expected,
                              const char* expected_label) {
    int mismatches = 0;
    for (const option_row& row : compared_options) {
        const int actual_bit = bit(actual, row.mask);
        const int expected_bit = bit(expected, row.mask);
        if (actual_bit != expected_bit) {
            report("seal-config-option-differs"_id, " - %s mismatch. %s: %d, %s: %d.", row.name, actual_label,
                   actual_bit, expected_label, expected_bit)
                .field("name", row.name)
                .field("expected", expected_bit)
                .field("actual", actual_bit);
            ++mismatches;
        }
    }
    return mismatches;
}

}  // namespace vellum
