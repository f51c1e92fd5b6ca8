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

// What a comparison finds ("error", "warning", "error and warning" or nothing), then its report.
std::string compare(const events& live, const events& reference) {
    test::log_session session(log_level::off);
    const tpm_events_chains live_chains = chains_of(live);
    const tpm_events_chains reference_chains = chains_of(reference);
    bool error = false;
    bool warning = false;
    compare_tpm_log_chains(live_chains, reference_chains, all_pcrs, error, warning);
    return std::string(error ? "error" : "") + (error && warning ? " and " : "") + (warning ? "warning" : "") + "\n" +
           session.pushed();
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
        std::string found;
        std::vector<const char*> lines;  // that the report holds
    } const rows[] = {
        {"Empty", {}, {}, "", {}},
        {"Equal", {a, b}, {a, b}, "", {}},
        {"NotesAreNotCompared", {a, note}, {a, other_note}, "", {}},
        {"NoteMovedBehindAnEvent", {a, note}, {note, a}, "warning", {"in the Live Log:", "in the Reference Log:"}},
        {"LiveIsShorter", {a}, {a, b}, "error", {"Live Log) [-/1]:\n", "N/A (no more events)\n", "Log) [2/2]:\n"}},
        {"ReferenceIsShorter", {a, b}, {a}, "error", {"(Live Log) [2/2]:\n", "(Reference Log) [-/1]:\n"}},
        {"FirstEventDiffers", {a}, {b}, "error", {"[1/1]:\n", "Data (1 bytes):\n"}},
        {"NoteInLiveOnly",
         {note, a},
         {a},
         "warning",
         {"in the Reference Log:\n", "(Live Log) [1/2]:\n", "| MATCH\n"}},
        {"NoteInReferenceOnlyAtTheEnd",
         {a},
         {a, note},
         "warning",
         {"in the Live Log:\n", "(Reference Log) [2/2]:\n"}},
        {"NoteBeforeADifference", {note, a}, {b}, "error and warning", {"First difference:\n", "Live Log) [2/2]:\n"}},
        {"OtherType", {a}, {a_of_other_type}, "warning", {"identical digests but different types:\n", "(EV_IPL)\n"}},
    };
    for (const auto& row : rows) {
        const std::string report = compare(row.live, row.reference);
        EXPECT_TRUE(report.starts_with(row.found + "\n")) << row.name << report;
        EXPECT_EQ(report == "\n", row.lines.empty()) << row.name;
        EXPECT_EQ(count(report, "PCR[07] Actual Value:"), row.lines.empty() ? 0 : 1) << row.name;
        for (const char* line : row.lines) {
            EXPECT_NE(report.find(line), std::string::npos) << row.name << " lacks " << line << report;
        }
    }
}

TEST(Compare, ShowsAtMost408BytesOfData) {
    for (const std::size_t size : {std::size_t{408}, std::size_t{409}, std::size_t{5000}}) {
        const std::string report = compare({lab::text_event(7, EV_ACTION, std::string(size, 'x'))}, {a});
        EXPECT_EQ(count(report, " | xxxxxxxxxxxxxxxxxxxxxxxx\n"), 17) << size;
        const std::string cut = "            (... " + std::to_string(size - 408) + " bytes truncated ...)\n";
        EXPECT_EQ(count(report, cut), size > 408 ? 1 : 0) << size;
    }
}

}  // namespace
}  // namespace vellum
