// What vellum-lab says of an event log: whether it is well-formed, each reason why it is not, and what its events
// hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "lab/event_log_builder.h"
#include "lab/sample_boot.h"
#include "tests/support/inspection.h"
#include "tests/support/tamper.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using lab::inspect_extent;
using lab::inspect_kind;
using lab::inspect_outcome;
using nlohmann::json;
using test::as_json;
using test::bytes;
using test::codes;
using test::codes_of;

constexpr std::uint32_t EV_IPL = 0x0000000D;

struct log_row {
    const char* name;
    std::function<bytes()> log;
    inspect_outcome outcome;
    const char* verdict;
    codes reasons;
    codes cautions = {};
};

bytes with(bytes log, std::initializer_list<std::uint8_t> more) {
    log.insert(log.end(), more);
    return log;
}

// In the older layout, where the first event must not look like a Spec ID event.
void make_legacy(lab::event_log& log) {
    log.spec_id.reset();
    log.events.erase(log.events.begin());
}

bytes built(const std::function<void(lab::event_log&)>& change) {
    lab::event_log log = lab::clean_boot();
    change(log);
    return build(log);
}

const log_row log_rows[] = {
    {"whole", [] { return build(lab::clean_boot()); }, inspect_outcome::good, "well-formed", {}},
    {"in a larger area",
     [] {
         return with(build(lab::clean_boot()), {0xFF, 0xFF, 0xFF});
     },
     inspect_outcome::good,
     "well-formed",
     {},
     {"filling"}},
    {"with something behind it",
     [] {
         return with(build(lab::clean_boot()), {0, 0, 1});
     },
     inspect_outcome::bad,
     "damaged",
     {"left-over"}},
    {"legacy", [] { return built(make_legacy); }, inspect_outcome::bad, "legacy", {"legacy"}},
    {"legacy and cut",
     [] {
         bytes log = built(make_legacy);
         log.pop_back();
         return log;
     },
     inspect_outcome::bad,
     "damaged",
     {"legacy", "left-over"}},
    {"without SHA-256",
     [] { return built([](auto& log) { log.spec_id->banks.pop_back(); }); },
     inspect_outcome::bad,
     "refused",
     {"refused"}},
    {"of an old version",
     [] { return built([](auto& log) { log.spec_id->version_major = 0; }); },
     inspect_outcome::bad,
     "refused",
     {"refused"}},
    {"with an event without digests",
     [] { return built([](auto& log) { log.events[2].digests = std::vector<lab::log_digest>(); }); },
     inspect_outcome::bad,
     "refused",
     {"refused"}},
    {"with an oversized event",
     [] { return built([](auto& log) { log.events.back().data_size = UINT32_MAX; }); },
     inspect_outcome::bad,
     "refused",
     {"refused"}},
    {"with a PCR that does not exist",
     [] { return built([](auto& log) { log.events.back().pcr = 24; }); },
     inspect_outcome::good,
     "well-formed",
     {},
     {"ignored-events"}},
    {"without events",
     [] { return built([](auto& log) { log.events.clear(); }); },
     inspect_outcome::good,
     "well-formed",
     {},
     {"no-events"}},
    {"empty", [] { return bytes(); }, inspect_outcome::unreadable, "no event log", {"no-log"}},
    {"zeros", [] { return bytes(4096); }, inspect_outcome::unreadable, "no event log", {"no-log"}},
    {"text", [] { return bytes(4096, 'A'); }, inspect_outcome::unreadable, "no event log", {"no-log"}},
};

TEST(InspectLog, SaysWhetherAnEventLogIsWellFormedAndWhyNot) {
    const test::temp_dir dir;
    for (const log_row& row : log_rows) {
        SCOPED_TRACE(row.name);
        lab::inspect_request request;
        request.kind = inspect_kind::event_log;
        request.path = dir.write("log", row.log());
        const json said = as_json(request, row.outcome);
        EXPECT_EQ(said["verdict"], row.verdict);
        EXPECT_EQ(codes_of(said["reasons"]), row.reasons) << said["reasons"];
        EXPECT_EQ(codes_of(said["cautions"]), row.cautions) << said["cautions"];
        for (const json& reason : said["reasons"]) {
            EXPECT_TRUE(reason["code"] != "refused" || !reason["details"].empty());
        }
        EXPECT_EQ(said["schema_version"], 1);
    }
}

// A log may end behind any of its events, and zeros may follow there; that is all that a cut one can be taken for.
TEST(InspectLog, FindsACutLogWellFormedBetweenEventsOnly) {
    const test::temp_dir dir;
    lab::event_log log = lab::clean_boot();
    log.events.resize(5);
    const bytes whole = build(log);
    std::vector<std::size_t> ends;
    while (!log.events.empty()) {
        log.events.pop_back();
        ends.push_back(build(log).size());
    }
    const auto may_end = [&](const bytes& cut) {
        const auto last = std::find_if(cut.rbegin(), cut.rend(), [](std::uint8_t byte) { return byte != 0; });
        const auto written = static_cast<std::size_t>(cut.rend() - last);
        return std::any_of(ends.begin(), ends.end(),
                           [&](std::size_t end) { return written <= end && end <= cut.size(); });
    };
    lab::inspect_request request;
    request.kind = inspect_kind::event_log;
    test::for_each_prefix(whole, [&](const bytes& cut) {
        request.path = dir.write("cut", cut);
        const inspect_outcome outcome = test::inspect(request).outcome;
        EXPECT_EQ(outcome == inspect_outcome::good, may_end(cut)) << cut.size();
        EXPECT_EQ(outcome == inspect_outcome::unreadable, cut.size() < 8) << cut.size();
    });
}

TEST(InspectLog, ShowsTheTextOfEventsAndThePcrsThatHaveAny) {
    const struct {
        std::string_view data;
        const char* text;  // null: it is none
    } rows[] = {
        {"plain", "plain"},
        {std::string_view("ends in zeros\0\0", 15), "ends in zeros"},
        {"two\nlines\tand a column\r", "two?lines?and a column?"},
        {"k\xC3\xA4se", "k\xC3\xA4se"},
        {"\x1B[31mred", nullptr},
        {"not UTF-8: \x9B", nullptr},
        {"right to left: \xE2\x80\xAE", nullptr},
        {std::string_view("a\0b", 3), nullptr},
        {std::string_view("\0\0\0\0", 4), nullptr},
        {"", nullptr},
    };
    lab::event_log log;
    for (const auto& row : rows) {
        log.events.push_back(lab::text_event(8, EV_IPL, row.data));
    }
    const test::temp_dir dir;
    lab::inspect_request request;
    request.kind = inspect_kind::event_log;
    request.path = dir.write("log", build(log));
    const json said = as_json(request, inspect_outcome::good);
    ASSERT_EQ(said["events"].size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const json& event = said["events"][i];
        EXPECT_EQ(event.value("text", "none at all"), rows[i].text != nullptr ? rows[i].text : "none at all");
        EXPECT_EQ(event["data_size"], rows[i].data.size());
    }
    ASSERT_EQ(said["pcrs"].size(), 1U);
    EXPECT_EQ(said["pcrs"][0]["pcr"], 8);
    EXPECT_EQ(said["pcrs"][0]["value"], said["events"].back()["pcr_value"]);
    request.extent = inspect_extent::everything;
    EXPECT_EQ(as_json(request, inspect_outcome::good)["pcrs"].size(), 24U);
}

}  // namespace
}  // namespace vellum
