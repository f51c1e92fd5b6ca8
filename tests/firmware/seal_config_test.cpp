#include "firmware/seal_config.h"

#include <gtest/gtest.h>

#include "config/hotkey.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

TEST(Word, IsMadeOfTheFlagsAndBack) {
    constexpr std::uint16_t known_bits = 0x795B;
    test::log_session session;
    for (std::uint32_t bits = 0; bits <= UINT16_MAX; ++bits) {
        const auto word = static_cast<std::uint16_t>(bits);
        std::uint16_t again = 0;
        ASSERT_EQ(ini_seal_config_to_word(word_to_flags(word), again), result::success);
        ASSERT_EQ(again, word & known_bits);
    }
    const seal_flag_record flags = word_to_flags(0x0001 | 0x0040 | 0x1000 | 0x4000);
    EXPECT_EQ(flags.chassis_intrusion + flags.sed_lock + flags.disk_measurement_required + flags.ironwall, 4);
}

TEST(Word, RefusesTheFirstFlagThatIsNone) {
    test::log_session session;
    seal_flag_record flags;
    flags.ironwall = flags.pmf_signing = 2;
    std::uint16_t word = 7;
    EXPECT_EQ(ini_seal_config_to_word(flags, word), result::invalid);
    flags.chassis_intrusion = flags.bios_lock = 255;
    EXPECT_EQ(ini_seal_config_to_word(flags, word), result::invalid);
    EXPECT_EQ(session.logged(),
              "ERROR: Ironwall enabled has invalid value 2.\nERROR: BIOS Lock enabled has invalid value 255.\n");
    EXPECT_EQ(word, 7);
}

TEST(Comparison, ReportsEachOptionThatDiffersInOrder) {
    test::log_session session;
    EXPECT_EQ(compare_seal_config_words(0, "A", 0xFFFF, "E"), 10);
    const std::string differ = " mismatch. A: 0, E: 1.\n - ";
    EXPECT_EQ(session.pushed() + " - ",
              " - Chassis Intrusion Enabled" + differ + "Bios Lock Enabled" + differ + "Disk Measurements Enabled" +
                  differ + "Measurement Collection Boot" + differ + "Custom Opt Out Enabled" + differ +
                  "Pre Boot Disk Measurements" + differ + "Seal Signing Enabled" + differ + "SED Lock Enabled" +
                  differ + "Ironwall Enabled" + differ + "PMF Signing Enabled" + differ);
    EXPECT_EQ(compare_seal_config_words(0x0008, "A", 0x86A4, "E"), 1) << "reserved bits";
}

seal_configuration configuration_of(std::uint16_t word) {
    seal_configuration configuration;
    configuration.flags = word_to_flags(word);
    return configuration;
}

struct stage_row {
    const char* name;
    std::uint16_t actual;
    std::optional<std::uint16_t> pmf;
    std::uint16_t kxl;
    void (*change)(seal_configuration& actual, seal_expectation& expectation);
    verdict expected;
    std::string pushed;  // without the lines of the matches when both agree
};

void change_nothing(seal_configuration&, seal_expectation&) {}

void change_opt_out(seal_configuration& actual, seal_expectation&) {
    actual.hotkey_length = 9;
    actual.hotkey[8] = 0xC0;
    actual.opt_out_interval = 15;
}

const std::string signing_mismatch = " - Seal Signing Enabled mismatch. Actual: 1, Expected: 0.\n";
const std::string signing_and_bios = " - Bios Lock Enabled mismatch. Actual: 0, Expected: 1.\n" + signing_mismatch;
const std::string pmf_ok = "Matching Seal Configuration against PMF... OK\n";
const std::string pmf_failed = "Matching Seal Configuration against PMF... FAILED\n";
const std::string pmf_skipped = "Matching Seal Configuration against PMF... SKIPPED\n";
const std::string kxl_ok = "Matching Seal Configuration against KXL Config... OK\n";
const std::string kxl_failed = "Matching Seal Configuration against KXL Config... FAILED\n";

const stage_row stage_rows[] = {
    {"Agree", 0x0109, 0x0109, 0x0109, change_nothing, verdict::passed, ""},
    {"ReservedBitsOfThePmf", 0x0109, 0x87AD, 0x0109, change_nothing, verdict::passed, ""},
    {"WithoutPmf", 0x0109, std::nullopt, 0x0109, change_nothing, verdict::passed_with_warnings, pmf_skipped + kxl_ok},
    {"OneOptionOfThePmf", 0x0109, 0x0101, 0x0109, change_nothing, verdict::failed,
     signing_mismatch + "Could not match 1 Seal Configuration option with reference values from PMF config.\n" +
         pmf_failed + kxl_ok},
    {"TwoOptionsOfBoth", 0x0109, 0x0103, 0x0103, change_nothing, verdict::failed,
     signing_and_bios + "Could not match 2 Seal Configuration options with reference values from PMF config.\n" +
         pmf_failed + signing_and_bios +
         "Could not match 2 Seal Configuration  options with reference values from KXL config.\n" + kxl_failed},
    {"OneOptionOfKxl", 0x0109, std::nullopt, 0x0101, change_nothing, verdict::failed,
     pmf_skipped + signing_mismatch +
         "Could not match 1 Seal Configuration option with reference values from KXL config.\n" + kxl_failed},
    {"Algorithm", 0x0109, 0x0109, 0x0109,
     [](seal_configuration&, seal_expectation& expectation) { expectation.sealed_algorithm = 1; }, verdict::failed,
     pmf_ok +
         " - Seal Signature Algorithm mismatch. Actual: SHA256-NULL-ENCRYPTION, expected: SHA256-RSA-2048-PKCS1.\n"
         "Could not match 1 Seal Configuration option with reference values from KXL config.\n" +
         kxl_failed},
    {"UnsignedPmf", 0x0009, 0x0009, 0x0009, change_nothing, verdict::failed,
     pmf_ok + "Unsigned PMF cannot be used when the Seal is signed by a method other than TL3.\n" + kxl_failed},
    {"UnsignedPmfUnderTl3", 0x0009, 0x0009, 0x0009,
     [](seal_configuration&, seal_expectation& expectation) {
         expectation.sealed_algorithm = 1;
         expectation.expected_algorithm = seal_signing_algorithm::sha256_null_encryption;
     },
     verdict::passed, ""},
    {"OptOut", 0x0010, 0x0010, 0x0010, change_opt_out, verdict::failed,
     pmf_ok +
         " - Opt Out Key length mismatch. Actual: 9, expected: 0.\n - Opt Out Hotkey Sequence mismatch.\n"
         " - Custom Opt Out Interval mismatch. Actual: 15, expected: 0.\n"
         "Could not match 3 Seal Configuration  options with reference values from KXL config.\n" +
         kxl_failed},
    {"OptOutDisabled", 0x0000, 0x0000, 0x0000, change_opt_out, verdict::passed, ""},
    {"ImpossibleHotkeyLength", 0x0010, 0x0010, 0x0010,
     [](seal_configuration& actual, seal_expectation&) { actual.hotkey_length = UINT32_MAX; }, verdict::failed,
     pmf_ok +
         " - Opt Out Key length mismatch. Actual: -1, expected: 0.\n"
         "Could not match 1 Seal Configuration option with reference values from KXL config.\n" +
         kxl_failed},
    {"DeviceIdType", 0x0000, 0x0000, 0x0001,
     [](seal_configuration&, seal_expectation& expectation) { expectation.sealed_device_id_type = 1; },
     verdict::failed,
     pmf_ok + "Device ID type from seal log [SERIAL_NUMBER] does not match value from KXL config [UUID]\n" +
         kxl_failed},
    {"NoSealConfiguredEvent", 0x0000, 0x0000, 0x0000,
     [](seal_configuration&, seal_expectation& expectation) { expectation.sealed_device_id_type.reset(); },
     verdict::failed, pmf_ok + "Could not find Seal Configured Event in Seal log.\n" + kxl_failed},
};

TEST(Stage, MatchesTheConfigurations) {
    for (const stage_row& row : stage_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        seal_configuration actual = configuration_of(row.actual);
        const seal_configuration expected = configuration_of(row.kxl);
        seal_expectation expectation = {expected, DeviceIdSource::UUID, seal_signing_algorithm::sha256_rsa_2048_pkcs1,
                                        0U, 0U};
        row.change(actual, expectation);
        EXPECT_EQ(check_seal_config(actual, row.pmf, expectation).verdict, row.expected);
        EXPECT_EQ(session.pushed(), row.pushed);
    }
}

TEST(Match, TakesFlagsThatAreNoneForAFailure) {
    test::log_session session(log_level::off);
    const seal_configuration good;
    seal_configuration bad;
    bad.flags.ironwall = 2;
    EXPECT_EQ(match_seal_config_with_pmf(bad, 0), result::internal_failure);
    const auto match = [](const seal_configuration& actual, const seal_configuration& expected) {
        return match_seal_config_with_kxl_config(actual, {expected, DeviceIdSource::UUID, {}, 0U, 0U});
    };
    EXPECT_EQ(match(good, bad), result::invalid);
    EXPECT_EQ(match(bad, good), result::invalid);
    EXPECT_EQ(match(good, good), result::success);
    EXPECT_EQ(print_seal_config(log_level::debug, bad), result::invalid);
    EXPECT_EQ(session.pushed(),
              "An error occurred while converting ini_seal_configuration_t to SKY_PORT_CONFIGURATION.\n");
}

TEST(Printout, ListsTheOptionsAndTheMatchesAtDebug) {
    test::log_session session(log_level::debug);
    seal_configuration sealed = configuration_of(0x4111);
    const std::optional<std::vector<std::uint8_t>> hotkey = parse_hotkey_sequence("CTRL+F1,a");
    ASSERT_TRUE(hotkey);
    sealed.hotkey_length = static_cast<std::uint32_t>(hotkey->size());
    std::copy(hotkey->begin(), hotkey->end(), sealed.hotkey.begin());
    sealed.opt_out_interval = 60;
    const std::string options =
        "Options selected in Norvane(R) KVR Seal Configuration:\n"
        " - Chassis Intrusion Enabled:       yes\n"
        " - BIOS Lock Enabled:               no\n"
        " - Seal Signing Enabled             no\n"
        " - SED Lock Enabled:                no\n"
        " - PMF Signing Enabled:             yes\n"
        " - Custom Opt Out Hotkey Enabled:   yes\n";
    const std::string ironwall =
        "   interval: 60\n"
        "Options selected in Norvane(R) KVR Feature Configuration:\n"
        " - Norvane Ironwall Enabled:        yes\n";
    const seal_expectation expectation = {sealed, DeviceIdSource::OEM_DEFINED_BLOB, {}, 3U, 0U};
    EXPECT_EQ(check_seal_config(sealed, 0x4111, expectation).verdict, verdict::passed);
    EXPECT_EQ(session.logged(), "Device has been sealed with following options:\n" + options +
                                    "   hotkey sequence: [ CTRL+F1,a ]\n" + ironwall +
                                    "Device ID type in seal log [OEM_DEFINED_BLOB]\nDevice ID type in tool config "
                                    "[OEM_DEFINED_BLOB]\n" +
                                    pmf_ok + kxl_ok);
    sealed.hotkey_length = 8;
    EXPECT_EQ(print_seal_config(log_level::info, sealed), result::success);
    EXPECT_EQ(session.logged(), options + "   Hot key sequence syntax is invalid.\n" + ironwall);
}

}  // namespace
}  // namespace vellum
