#include "tpm/pcr_checks.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "lab/pmf_builder.h"
#include "pmf/parser.h"
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
    test::log_session session(log_level::debug);
    const pcr_value_list expected = numbered();
    pcr_value_list current = expected;
    current[0].fill(0xA0);
    current[5].fill(0xA5);
    current[23].fill(0xAF);
    EXPECT_EQ(compare_pcr_lists(current, expected, "NOW", "THEN", 0x800001), result::check_failed);
    EXPECT_EQ(session.pushed(), " Actual(NOW): 0x" + digits("a0") + "\n Expected(THEN): 0x" + digits("01") +
                                    "\nPCR[00] does not match.\n Actual(NOW): 0x" + digits("af") +
                                    "\n Expected(THEN): 0x" + digits("18") + "\nPCR[23] does not match.\n");
    EXPECT_EQ(session.logged(),
              "Comparing calculated PCRs from NOW with PCRs obtained from THEN, using mask 0x800001: \n");
    EXPECT_EQ(compare_pcr_lists(current, expected, "NOW", "THEN", ~0x800021U), result::success);
    EXPECT_TRUE(session.logged().ends_with("mask 0xff7fffde: \nPCRs from (NOW) matches (THEN)\n"));
    EXPECT_EQ(session.pushed(), "");
}

TEST(LogMatchesPcrs, Pcr0AndPcr5AreAlwaysCompared) {
    test::log_session session;
    announce_log_pcr_mask(0x80);
    EXPECT_EQ(session.logged(), "Using PCR mask 0x000000a1\n");
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        pcr_value_list log = numbered();
        log[pcr].back() ^= 1;
        const bool compared = pcr == 0 || pcr == 5 || pcr == 7;
        EXPECT_EQ(match_log_with_pcrs(numbered(), log, 0x80).verdict, compared ? verdict::failed : verdict::passed)
            << pcr;
        EXPECT_EQ(session.pushed().starts_with(" Actual(TPM): 0x"), compared);
    }
}

struct pmf_row {
    const char* name;
    std::vector<std::uint16_t> listed;
    verdict expected;
    std::string display_name;
    std::string last_pushed;
    std::uint16_t wrong = 24;  // the PCR whose value differs
};

const pmf_row pmf_rows[] = {
    {"Agree", {0, 2, 3, 7}, verdict::passed, "PCR[0,2,3,7] values match PMF", ""},
    {"MandatoryMissing",
     {0, 2, 7},
     verdict::passed_with_warnings,
     "PCR[0,2,7] values match PMF",
     "Mandatory PCR[3] is not present in PMF::PCRMetadataExtension.\n"},
    {"Differ", {0, 2, 3, 7}, verdict::failed, "PCR[0,2,3,7] values match PMF", "PCR[07] does not match.\n", 7},
    {"DifferElsewhere", {0, 2, 3, 7}, verdict::passed, "PCR[0,2,3,7] values match PMF", "", 4},
    {"NoPcrs", {}, verdict::failed, "", "PMF::PCRMetadataExtension does not contain PCRs\n"},
};

TEST(PcrsMatchPmf, ComparesWhatThePmfLists) {
    for (const pmf_row& row : pmf_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session(log_level::off);
        pcr_value_list tpm = numbered();
        lab::pmf file;
        file.pcrs.entries.clear();
        for (const std::uint16_t pcr : row.listed) {
            file.pcrs.entries.push_back(lab::pcr_entry(pcr, tpm[pcr]));
        }
        std::optional<PmfDocument> document;
        ASSERT_EQ(parse_pmf(build(file), document), result::success) << session.pushed();
        static_cast<void>(session.pushed());
        if (row.wrong < pcr_count) {
            tpm[row.wrong].fill(0xEE);
        }
        const stage_outcome outcome = match_pcrs_with_pmf(tpm, *document);
        EXPECT_EQ(outcome.verdict, row.expected);
        EXPECT_EQ(outcome.display_name, row.display_name);
        const std::string pushed = session.pushed();
        EXPECT_TRUE(row.last_pushed.empty() ? pushed.empty() : pushed.ends_with(row.last_pushed)) << pushed;
    }
}

TEST(EventDigest, MustBeThatOfTheData) {
    test::log_session session(log_level::error);
    const std::string_view text = "abc";
    tpm_event event;
    event.type = EV_SEPARATOR;
    event.data = as_bytes(text);
    ASSERT_EQ(sha256(event.data, event.digest), result::success);
    EXPECT_TRUE(check_event_digest(event));
    EXPECT_EQ(session.pushed() + session.logged(), "");
    event.digest.fill(0x11);
    EXPECT_FALSE(check_event_digest(event));
    EXPECT_EQ(session.pushed(),
              " From TPM Event log: " + digits("11") +
                  "\n Calculated:         ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad\n"
                  "TPM Log Event EV_SEPARATOR digest mismatch:\n");
    EXPECT_TRUE(session.logged().starts_with("ERROR: EV_SEPARATOR:\nERROR: 00000000 | 6162 63"));
}

}  // namespace
}  // namespace vellum
