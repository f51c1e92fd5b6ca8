#include "tpm/log_comparison.h"

#include <gtest/gtest.h>

#include "lab/event_log_builder.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

using events = std::vector<lab::log_event>;

constexpr std::uint32_t EV_ACTION = 5;
constexpr std::uint32_t EV_IPL = 13;

tpm_events_chains chains_of(const events& list) {
    lab::event_log log;
    log.events = list;
    std::optional<tpm_events_chains> chains;
    EXPECT_EQ(parse_tpm_log(build(log), chains), result::success);
    return std::move(*chains);
}

struct outcome {
    bool error = false;
    bool warning = false;
    std::string report;
};

outcome compare(const events& live, const events& reference, std::uint32_t mask = all_pcrs) {
    test::log_session session(log_level::off);
    const tpm_events_chains live_chains = chains_of(live);
    const tpm_events_chains reference_chains = chains_of(reference);
    outcome found;
    compare_tpm_log_chains(live_chains, reference_chains, mask, found.error, found.warning);
    found.report = session.pushed();
    return found;
}

int count(const std::string& text, std::string_view part) {
    int found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++found;
    }
    return found;
}

const lab::log_event a = lab::text_event(7, EV_ACTION, "a");
const lab::log_event b = lab::text_event(7, EV_ACTION, "b");
const lab::log_event a_of_other_type = lab::text_event(7, EV_IPL, "a");
const lab::log_event note = lab::text_event(7, EV_NO_ACTION, "note");
const lab::log_event other_note = lab::text_event(7, EV_NO_ACTION, "other");

TEST(Compare, WalksBothChains) {
    struct {
        const char* name;
        events live;
        events reference;
        bool error;
        bool warning;
        std::vector<const char*> lines;  // that the report holds
    } const rows[] = {
        {"Empty", {}, {}, false, false, {}},
        {"Equal", {a, b}, {a, b}, false, false, {}},
        {"NotesAreNotCompared", {a, note}, {a, other_note}, false, false, {}},
        {"NoteMovedBehindAnEvent", {a, note}, {note, a}, false, true, {"in the Live Log:", "in the Reference Log:"}},
        {"LiveIsShorter",
         {a},
         {a, b},
         true,
         false,
         {"Actual event (Live Log) [-/1]:\n", "N/A (no more events)\n", "Expected event (Reference Log) [2/2]:\n",
          "| MISMATCH\n"}},
        {"ReferenceIsShorter",
         {a, b},
         {a},
         true,
         false,
         {"Actual event (Live Log) [2/2]:\n", "Expected event (Reference Log) [-/1]:\n"}},
        {"FirstEventDiffers", {a}, {b}, true, false, {"[1/1]:\n", "Data (1 bytes):\n"}},
        {"NoteInLiveOnly",
         {note, a},
         {a},
         false,
         true,
         {"in the Reference Log:\n", "Mismatched event (Live Log) [1/2]:\n", "| MATCH\n"}},
        {"NoteInReferenceOnlyAtTheEnd",
         {a},
         {a, note},
         false,
         true,
         {"in the Live Log:\n", "Mismatched event (Reference Log) [2/2]:\n"}},
        {"NoteInOneBeforeADifference",
         {note, a},
         {b},
         true,
         true,
         {"in the Reference Log:\n", "First difference:\n", "Live Log) [2/2]:\n"}},
        {"EqualDigestsOtherType",
         {a},
         {a_of_other_type},
         false,
         true,
         {"WARNING: Following events have identical digests but different types:\n", "0x0000000d(EV_IPL)\n"}},
    };
    for (const auto& row : rows) {
        const outcome found = compare(row.live, row.reference);
        EXPECT_EQ(found.error, row.error) << row.name;
        EXPECT_EQ(found.warning, row.warning) << row.name;
        EXPECT_EQ(found.report.empty(), row.lines.empty()) << row.name;
        EXPECT_EQ(count(found.report, "PCR[07] Actual Value:"), row.lines.empty() ? 0 : 1) << row.name;
        for (const char* line : row.lines) {
            EXPECT_NE(found.report.find(line), std::string::npos) << row.name << " lacks " << line << found.report;
        }
    }
}

TEST(Compare, LooksOnlyAtTheSelectedPcrs) {
    lab::log_event elsewhere = a;
    elsewhere.pcr = 3;
    const events live = {a, elsewhere};
    EXPECT_FALSE(compare(live, {}, 0).error);
    EXPECT_FALSE(compare(live, {}, all_pcrs & ~0x88U).error);
    EXPECT_EQ(compare(live, {}, 0x80).report.find("PCR[03]"), std::string::npos);
    const outcome both = compare(live, {});
    EXPECT_LT(both.report.find("PCR[03]"), both.report.find("\n\n\nPCR[07]")) << "two empty lines between PCRs";
}

TEST(Compare, LocalitiesThatDifferShowTheInitialValues) {
    const outcome found = compare({lab::startup_locality(3), lab::separator(0)}, {lab::separator(0)});
    EXPECT_TRUE(found.error);
    EXPECT_EQ(count(found.report, "N/A (PCR initial value)"), 2);
    EXPECT_EQ(count(found.report, "            Reported in:             StartupLocality(3) event [1/2]\n"), 1);
}

TEST(Compare, ShowsAtMost408BytesOfData) {
    for (const std::size_t size : {std::size_t{408}, std::size_t{409}, std::size_t{5000}}) {
        const outcome found = compare({lab::text_event(7, EV_ACTION, std::string(size, 'x'))}, {a});
        EXPECT_EQ(count(found.report, " | xxxxxxxxxxxxxxxxxxxxxxxx\n"), 17) << size;
        const std::string cut = "            (... " + std::to_string(size - 408) + " bytes truncated ...)\n";
        EXPECT_EQ(count(found.report, cut), size > 408 ? 1 : 0) << size;
    }
}

TEST(Stage, NamesThePcrsAndTurnsFindingsIntoAVerdict) {
    test::log_session session;
    const tpm_events_chains one = chains_of({a, note});
    const tpm_events_chains two = chains_of({a});
    const tpm_events_chains three = chains_of({b});
    session.logged();
    const stage_outcome equal = compare_reference_tpm_log(one, one, 0x81);
    EXPECT_EQ(equal.verdict, verdict::passed);
    EXPECT_EQ(equal.display_name, "TPM Log matches Reference TPM Log (PCRs [0,7])");
    EXPECT_EQ(session.logged(), "Using PCR mask 0x00000081\n");
    EXPECT_EQ(compare_reference_tpm_log(one, two, 0x80).verdict, verdict::passed_with_warnings);
    EXPECT_EQ(compare_reference_tpm_log(one, three, 0x80).verdict, verdict::failed);
    EXPECT_EQ(compare_reference_tpm_log(one, three, 0).display_name, "TPM Log matches Reference TPM Log (PCRs [])");
}

}  // namespace
}  // namespace vellum
