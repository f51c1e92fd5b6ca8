#include <algorithm>

#include "config/device_id.h"
#include "config/hotkey.h"
#include "core/findings.h"
#include "firmware/seal_config.h"

namespace vellum {
namespace {

constexpr const char* actual_label = "Actual";
constexpr const char* expected_label = "Expected";

const char* algorithm_name(std::uint32_t algorithm) {
    const char* const name = signature_scheme_name(static_cast<signature_scheme>(algorithm));
    return *name != '\0' ? name : "UNKNOWN";
}

byte_view hotkey_of(const seal_configuration& configuration) {
    const std::size_t length = std::min<std::size_t>(configuration.hotkey_length, configuration.hotkey.size());
    return byte_view(configuration.hotkey).first(length);
}

result check_device_id_type(const seal_expectation& expectation) {
    if (!expectation.sealed_device_id_type) {
        report("seal-device-id-type-unknown"_id, "Could not find Seal Configured Event in Seal log.");
        return result::invalid;
    }
    const auto sealed = static_cast<DeviceIdSource>(*expectation.sealed_device_id_type);
    const char* sealed_name = device_id_source_name(sealed);
    const char* expected_name = device_id_source_name(expectation.expected_device_id_source);
    log_at(log_level::debug, "Device ID type in seal log [%s]", sealed_name);
    log_at(log_level::debug, "Device ID type in tool config [%s]", expected_name);
    if (sealed == expectation.expected_device_id_source) {
        return result::success;
    }
    report("seal-device-id-type-differs"_id,
           "Device ID type from seal log [%s] does not match value from KXL config [%s]", sealed_name, expected_name)
        .field("expected", expected_name)
        .field("expected_source", "KXL config")
        .field("actual", sealed_name)
        .field("actual_source", "Seal Log");
    return result::check_failed;
}

int compare_algorithms(const seal_expectation& expectation) {
    const auto expected = static_cast<std::uint32_t>(expectation.expected_algorithm);
    if (expectation.sealed_algorithm == expected) {
        return 0;
    }
    report("seal-algorithm-differs"_id, " - Seal Signature Algorithm mismatch. Actual: %s, expected: %s.",
           algorithm_name(expectation.sealed_algorithm), algorithm_name(expected))
        .field("expected", algorithm_name(expected))
        .field("actual", algorithm_name(expectation.sealed_algorithm));
    return 1;
}

int compare_opt_outs(const seal_configuration& actual, const seal_configuration& expected) {
    int mismatches = 0;
    if (actual.hotkey_length != expected.hotkey_length) {
        report("seal-opt-out-length-differs"_id, " - Opt Out Key length mismatch. Actual: %d, expected: %d.",
               static_cast<int>(actual.hotkey_length), static_cast<int>(expected.hotkey_length))
            .field("expected", expected.hotkey_length)
            .field("actual", actual.hotkey_length);
        ++mismatches;
    }
    const byte_view hotkey = hotkey_of(actual);
    if (!starts_with(expected.hotkey, hotkey)) {
        report("seal-opt-out-hotkey-differs"_id, " - Opt Out Hotkey Sequence mismatch.")
            .field("expected", hotkey_of(expected))
            .field("actual", hotkey);
        ++mismatches;
    }
    if (actual.opt_out_interval != expected.opt_out_interval) {
        report("seal-opt-out-interval-differs"_id, " - Custom Opt Out Interval mismatch. Actual: %d, expected: %d.",
               static_cast<int>(actual.opt_out_interval), static_cast<int>(expected.opt_out_interval))
            .field("expected", expected.opt_out_interval)
            .field("actual", actual.opt_out_interval);
        ++mismatches;
    }
    return mismatches;
}

const char* yes_or_no(std::uint8_t flag) {
    return flag != 0 ? "yes" : "no";
}

void print_opt_out(log_level level, const seal_configuration& configuration) {
    if (const std::optional<std::string> sequence = print_hotkey_sequence(hotkey_of(configuration))) {
        log_at(level, "   hotkey sequence: [ %s ]", sequence->c_str());
    } else {
        log_at(level, "   Hot key sequence syntax is invalid.");
    }
    log_at(level, "   interval: %u", configuration.opt_out_interval);
}

bool unsigned_pmf_under_signed_seal(const seal_flag_record& flags, std::uint32_t sealed_algorithm) {
    constexpr auto tl3 = static_cast<std::uint32_t>(signature_scheme::sha256_null_encryption);
    return flags.seal_signing != 0 && flags.pmf_signing == 0 && sealed_algorithm != tl3;
}

bool matches_kxl_config(const seal_configuration& actual, const seal_expectation& expectation) {
    const bool matches = ok(match_seal_config_with_kxl_config(actual, expectation));
    if (unsigned_pmf_under_signed_seal(actual.flags, expectation.sealed_algorithm)) {
        report("seal-signed-over-unsigned-pmf"_id,
               "Unsigned PMF cannot be used when the Seal is signed by a method other than TL3.");
        return false;
    }
    return matches;
}

const char* ok_or_failed(bool matches) {
    return matches ? "OK" : "FAILED";
}

void push_pmf_line(const char* word) {
    report("seal-config-against-pmf"_id, "Matching Seal Configuration against PMF... %s", word).field("value", word);
}

}  // namespace

result match_seal_config_with_pmf(const seal_configuration& actual, std::uint16_t pmf_word) {
    std::uint16_t word = 0;
    if (!ok(ini_seal_config_to_word(actual.flags, word))) {
        return result::internal_failure;
    }
    const int mismatches = compare_seal_config_words(word, actual_label, pmf_word, expected_label);
    if (mismatches == 0) {
        return result::success;
    }
    report("seal-config-differs-from-pmf"_id,
           "Could not match %d Seal Configuration %s with reference values from PMF config.", mismatches,
           mismatches == 1 ? "option" : "options")
        .field("expected", pmf_word)
        .field("expected_source", "PMF")
        .field("actual", word);
    return result::check_failed;
}

result match_seal_config_with_kxl_config(const seal_configuration& actual, const seal_expectation& expectation) {
    RETURN_IF_FAILED(check_device_id_type(expectation));
    std::uint16_t actual_word = 0;
    std::uint16_t expected_word = 0;
    if (!ok(ini_seal_config_to_word(actual.flags, actual_word)) ||
        !ok(ini_seal_config_to_word(expectation.expected.flags, expected_word))) {
        return result::invalid;
    }
    int mismatches = compare_seal_config_words(actual_word, actual_label, expected_word, expected_label);
    if (actual.flags.seal_signing != 0) {
        mismatches += compare_algorithms(expectation);
    }
    if (actual.flags.custom_opt_out != 0) {
        mismatches += compare_opt_outs(actual, expectation.expected);
    }
    if (mismatches == 0) {
        return result::success;
    }
    report("seal-config-differs-from-ini"_id,
           "Could not match %d Seal Configuration %s with reference values from KXL config.", mismatches,
           mismatches == 1 ? "option" : " options")
        .field("expected", expected_word)
        .field("expected_source", "KXL config")
        .field("actual", actual_word);
    return result::check_failed;
}

result print_seal_config(log_level level, const seal_configuration& configuration) {
    std::uint16_t word = 0;
    if (const result converted = ini_seal_config_to_word(configuration.flags, word); !ok(converted)) {
        report("seal-config-inconvertible"_id,
               "An error occurred while converting ini_seal_configuration_t to SKY_PORT_CONFIGURATION.");
        return converted;
    }
    const seal_flag_record& flags = configuration.flags;
    const auto print_option = [level](const char* label, std::uint8_t flag) {
        log_at(level, " %-35s%s", label, yes_or_no(flag));
    };
    log_at(level, "Options selected in Norvane(R) KVR Seal Configuration:");
    print_option("- Chassis Intrusion Enabled:", flags.chassis_intrusion);
    print_option("- BIOS Lock Enabled:", flags.bios_lock);
    print_option("- Seal Signing Enabled", flags.seal_signing);
    print_option("- SED Lock Enabled:", flags.sed_lock);
    print_option("- PMF Signing Enabled:", flags.pmf_signing);
    print_option("- Custom Opt Out Hotkey Enabled:", flags.custom_opt_out);
    if (flags.custom_opt_out != 0 && log_enabled(level)) {
        print_opt_out(level, configuration);
    }
    log_at(level, "Options selected in Norvane(R) KVR Feature Configuration:");
    print_option("- Norvane Ironwall Enabled:", flags.ironwall);
    return result::success;
}

// The line of each match stands above its findings, so it is reported after them and before those of the next match.
// That both agree is known only at the end, and is worth no more than debug.
stage_outcome check_seal_config(const seal_configuration& actual, std::optional<std::uint16_t> pmf_word,
                                const seal_expectation& expectation) {
    log_at(log_level::debug, "Device has been sealed with following options:");
    static_cast<void>(print_seal_config(log_level::debug, actual));
    const finding_mark mark = mark_findings();
    const bool pmf_matches = pmf_word && ok(match_seal_config_with_pmf(actual, *pmf_word));
    push_pmf_line(pmf_word ? ok_or_failed(pmf_matches) : "SKIPPED");
    const bool kxl_matches = matches_kxl_config(actual, expectation);
    if (pmf_matches && kxl_matches) {
        drop_findings(mark);
        log_at(log_level::debug, "Matching Seal Configuration against PMF... %s", ok_or_failed(true));
        log_at(log_level::debug, "Matching Seal Configuration against KXL Config... %s", ok_or_failed(true));
        return passed();
    }
    report("seal-config-against-ini"_id, "Matching Seal Configuration against KXL Config... %s",
           ok_or_failed(kxl_matches))
        .field("value", ok_or_failed(kxl_matches));
    const bool warns = kxl_matches && !pmf_word;
    return warns ? passed_with_warnings() : failed();
}

}  // namespace vellum
