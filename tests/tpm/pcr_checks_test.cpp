#include "tpm/pcr_checks.h"

#include <gtest/gtest.h>

#include "tests/support/log_session.h"

namespace vellum {
namespace {

pcr_value_list numbered() {
    pcr_value_list list{};
    for (std::size_t pcr = 0; pcr < list.size(); ++pcr) {
        list[pcr].fill(static_cast<std::uint8_t>(pcr + 1));
    }
    return list;
}

std::string digits(const char* pair) {
    std::string text;
    for (int i = 0; i < 32; ++i) {
        text += pair;
    }
    return text;
}

TEST(PcrLists, EveryDifferenceUnderTheMaskIsReported) {
    test::log_session session(log_level::off);
    const pcr_value_list expected = numbered();
    pcr_value_list current = expected;
    current[0].fill(0xA0);
    current[5].fill(0xA5);
    current[23].fill(0xAF);
    EXPECT_EQ(compare_pcr_lists(current, expected, "NOW", "THEN", 0x800001), result::check_failed);
    EXPECT_EQ(session.pushed(), " Actual(NOW): 0x" + digits("a0") + "\n Expected(THEN): 0x" + digits("01") +
                                    "\nPCR[00] does not match.\n Actual(NOW): 0x" + digits("af") +
                                    "\n Expected(THEN): 0x" + digits("18") + "\nPCR[23] does not match.\n");
    EXPECT_EQ(compare_pcr_lists(current, expected, "NOW", "THEN", ~0x800021U), result::success);
    EXPECT_EQ(session.pushed(), "");
}

TEST(LogMatchesPcrs, Pcr0AndPcr5AreAlwaysCompared) {
    test::log_session session;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        pcr_value_list log = numbered();
        log[pcr].back() ^= 1;
        const bool compared = pcr == 0 || pcr == 5 || pcr == 7;
        EXPECT_EQ(match_log_with_pcrs(numbered(), log, 0x80).verdict,
                  compared ? stage_verdict::failed : stage_verdict::passed)
            << pcr;
        EXPECT_EQ(session.pushed().starts_with(" Actual(TPM): 0x"), compared);
    }
}

}  // namespace
}  // namespace vellum
