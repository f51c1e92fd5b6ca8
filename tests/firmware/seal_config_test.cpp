#include "firmware/seal_config.h"

#include <gtest/gtest.h>

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

TEST(Stage, LooksPastWhatIsNotConfigured) {
    struct {
        const char* name;
        std::uint16_t word;
        std::uint16_t pmf;
        std::uint32_t hotkey_length;
        stage_verdict expected;
        std::string pushed;
    } const rows[] = {
        {"ReservedBitsOfThePmf", 0x0109, 0x87AD, 0, stage_verdict::passed, ""},
        {"HotkeyWithoutCustomOptOut", 0x0000, 0x0000, 9, stage_verdict::passed, ""},
        {"ImpossibleHotkeyLength", 0x0010, 0x0010, UINT32_MAX, stage_verdict::failed,
         "Matching Seal Configuration against PMF... OK\n"
         " - Opt Out Key length mismatch. Actual: -1, expected: 0.\n"
         "Could not match 1 Seal Configuration option with reference values from KXL config.\n"
         "Matching Seal Configuration against KXL Config... FAILED\n"},
    };
    for (const auto& row : rows) {
        test::log_session session;
        seal_configuration actual;
        actual.flags = word_to_flags(row.word);
        const seal_configuration expected = actual;
        const seal_expectation expectation = {expected, DeviceIdSource::UUID, {}, 0U, 0U};
        actual.hotkey_length = row.hotkey_length;
        EXPECT_EQ(check_seal_config(actual, row.pmf, expectation).verdict, row.expected) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
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

}  // namespace
}  // namespace vellum
