// What vellum-lab says of an event log: whether it is well-formed, each reason why it is not, and what its events
// hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "lab/event_log_builder.h"
#include "lab/sample_boot.h"
#include "tests/support/inspection.h"
#include "tests/support/temp_dir.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

using lab::inspect_extent;
using lab::inspect_kind;
using lab::inspect_outcome;
using test::describe;
using bytes = std::vector<std::uint8_t>;
using test::codes;

constexpr std::uint32_t EV_IPL = 0x0000000D;

bytes with(bytes log, std::initializer_list<std::uint8_t> more) {
    log.insert(log.end(), more);
    return log;
}

bytes boot(const std::function<void(lab::event_log&)>& change = [](auto&) {}) {
    lab::event_log log = lab::clean_boot();
    change(log);
    return build(log);
}

// In the older layout, where the first event must not look like a Spec ID event.
void make_legacy(lab::event_log& log) {
    log.spec_id.reset();
    log.events.erase(log.events.begin());
}

bytes first_bytes(bytes log, std::size_t size) {
    log.resize(size);
    return log;
}

struct log_row {
    const char* name;
    bytes log;
    const char* verdict;
    codes remarks = {};  // reasons, then cautions
    const char* why = "";
};

std::vector<log_row> log_rows() {
    const bytes whole = boot();
    const bytes legacy = boot(make_legacy);
    const std::size_t first_event = boot([](auto& log) { log.events.clear(); }).size();
    return {
        {"whole", whole, "well-formed"},
        {"in a larger area", with(whole, {0xFF, 0xFF, 0xFF}), "well-formed", {"filling"}, "3 bytes at "},
        {"with a PCR that does not exist",
         boot([](auto& log) { log.events.back().pcr = 24; }),
         "well-formed",
         {"ignored-events"},
         "1 of its events are for PCRs"},
        {"without events", boot([](auto& log) { log.events.clear(); }), "well-formed", {"no-events"}},

        {"with something behind it",
         with(whole, {0, 0, 1}),
         "damaged",
         {"left-over"},
         "what follows is shorter than any event"},
        {"cut in data",
         first_bytes(whole, whole.size() - 1),
         "damaged",
         {"left-over"},
         "the data of the next event reach past the end"},
        {"cut in digests",
         boot([](auto& log) {
             log.events.back().digests = std::vector<lab::log_digest>(5, {lab::TPM_ALG_SHA1, {}});
         }),
         "damaged",
         {"left-over"},
         "the digests of the next event reach past the end"},
        {"with many digests",
         boot([](auto& log) { log.events.back().digest_count = 6; }),
         "damaged",
         {"left-over"},
         "claims more digests than an event can have"},
        {"legacy and cut", first_bytes(legacy, legacy.size() - 1), "damaged", {"left-over", "legacy"}},
        {"legacy", legacy, "legacy", {"legacy"}, "predict no SHA-256 PCR"},

        {"cut in its first event", first_bytes(whole, 31), "refused", {"refused"}, "Invalid file structure."},
        {"without SHA-256",
         boot([](auto& log) { log.spec_id->banks.pop_back(); }),
         "refused",
         {"refused", "no-sha256-bank"},
         "does not contain any of the required PCR bank hash algorithms"},
        {"of a confidential machine",
         boot([](auto& log) {
             log.spec_id->pcr = 1;
             log.spec_id->banks = {{lab::TPM_ALG_SHA384, 48}};
         }),
         "refused",
         {"refused", "no-sha256-bank"},
         "its Spec ID event is not of PCR 0"},
        {"with a short SHA-256",
         boot([](auto& log) { log.spec_id->banks.back().digest_size = 31; }),
         "refused",
         {"refused", "contradicted-digest"},
         "Invalid file structure."},
        {"of an old version",
         boot([](auto& log) { log.spec_id->version_major = 0; }),
         "refused",
         {"refused"},
         "the Spec ID event is of a version before 1.2"},
        {"that lists many algorithms",
         boot([](auto& log) { log.spec_id->bank_count = 6; }),
         "refused",
         {"refused"},
         "lists more algorithms than an event can have"},
        {"that lists more algorithms than there are",
         boot([](auto& log) { log.spec_id->bank_count = 4; }),
         "refused",
         {"refused"},
         "the Spec ID event is shorter than what it says it holds"},
        {"with an event without digests",
         boot([](auto& log) { log.events[2].digests = std::vector<lab::log_digest>(); }),
         "refused",
         {"refused", "left-over", "missing-separator"},
         "has no SHA-256 digest."},
        {"in an area of zeros",
         first_bytes(whole, whole.size() + 64),
         "refused",
         {"refused", "filling"},
         "has no SHA-256 digest, and zeros are all that follows."},
        {"with an oversized event",
         boot([](auto& log) {
             log.events[1] =
                 lab::text_event(0, EV_IPL, std::string(64, '\0'));  // as if it were an event without digests
             log.events[1].data_size = UINT32_MAX;
         }),
         "refused",
         {"refused", "left-over", "missing-separator"},
         "overflows TPM Log data boundaries"},

        {"empty", {}, "no event log", {"no-log"}, "The file is empty."},
        {"zeros", bytes(4096), "no event log", {"no-log"}},
        {"text", bytes(4096, 'A'), "no event log", {"no-log"}},
        {"without its beginning",
         bytes(whole.begin() + static_cast<std::ptrdiff_t>(first_event) - 4, whole.end()),
         "no event log",
         {"no-log"}},
    };
}

inspect_outcome outcome_of(std::string_view verdict) {
    return verdict == "well-formed"    ? inspect_outcome::good
           : verdict == "no event log" ? inspect_outcome::unreadable
                                       : inspect_outcome::bad;
}

TEST(InspectLog, SaysWhetherAnEventLogIsWellFormedAndWhyNot) {
    const test::temp_dir dir;
    for (const log_row& row : log_rows()) {
        SCOPED_TRACE(row.name);
        lab::inspect_request request;
        request.kind = inspect_kind::event_log;
        request.path = dir.write("log", row.log);
        const test::description said = describe(request, outcome_of(row.verdict));
        EXPECT_EQ(said.at("/verdict"), row.verdict);
        codes remarks = said.codes_of("/reasons");
        const codes cautions = said.codes_of("/cautions");
        remarks.insert(remarks.end(), cautions.begin(), cautions.end());
        EXPECT_EQ(remarks, row.remarks);
        const std::string why = said.at("/reasons") + said.at("/cautions");
        EXPECT_NE(why.find(row.why), std::string::npos) << why;
        const bool may_lack_digest = std::string_view(row.why).starts_with("has no SHA-256 digest");
        EXPECT_EQ(why.find("has no SHA-256 digest") != std::string::npos, may_lack_digest) << why;
        EXPECT_EQ(said.at("/schema_version"), "2");
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
    const auto may_end = [&](std::size_t size) {
        const byte_view cut = byte_view(whole).first(size);
        const auto last = std::find_if(cut.rbegin(), cut.rend(), [](std::uint8_t byte) { return byte != 0; });
        const auto written = static_cast<std::size_t>(cut.rend() - last);
        return std::any_of(ends.begin(), ends.end(), [&](std::size_t end) { return written <= end && end <= size; });
    };
    lab::inspect_request request;
    request.kind = inspect_kind::event_log;
    request.path = dir.write("cut", whole);
    test::inspect_each_cut(request, [&](std::size_t size, inspect_outcome outcome) {
        EXPECT_EQ(outcome == inspect_outcome::good, may_end(size)) << size;
        EXPECT_EQ(outcome == inspect_outcome::unreadable, size < 8) << size;
    });
}

TEST(InspectLog, DescribesTheEventsThatAreAskedFor) {
    const test::temp_dir dir;
    lab::inspect_request request;
    request.kind = inspect_kind::event_log;
    request.path = dir.write("log", boot());
    const std::size_t events = lab::clean_boot().events.size();
    const test::description whole = describe(request, inspect_outcome::good);
    ASSERT_EQ(whole.size("/events"), events);
    EXPECT_EQ(whole.size("/pcrs"), 9U);
    EXPECT_EQ(whole.at("/startup_locality"), "3");
    EXPECT_EQ(whole.at("/events/7/type"), "EV_EFI_VARIABLE_BOOT");
    EXPECT_EQ(whole.at("/events/7/kind"), "variable");
    EXPECT_EQ(whole.at("/events/7/summary"), "BootOrder: 0000, 0001");
    EXPECT_EQ(whole.at("/events/7/claim/proof"), "proved");
    EXPECT_EQ(whole.at("/events/7/details/name"), "BootOrder");
    EXPECT_EQ(whole.at("/events/7/digests/sha1").size(), 40U);
    EXPECT_EQ(whole.at("/events/7/digests/sha256").size(), 64U);
    const std::string last = "/events/" + std::to_string(events - 1);
    EXPECT_EQ(whole.at(last + "/pcr_values/sha256"), whole.at("/pcrs/8/values/sha256"));

    request.type = EV_SEPARATOR;
    request.pcrs = 1U << 3 | 1U << 7;
    const test::description some = describe(request, inspect_outcome::good);
    ASSERT_EQ(some.size("/events"), 2U);
    EXPECT_EQ(some.at("/events/0/pcr"), "3");
    EXPECT_EQ(some.at("/events/1/pcr_values"), whole.at("/pcrs/7/values"));
    EXPECT_EQ(some.size("/pcrs"), 2U);
    request.extent = inspect_extent::everything;
    request.pcrs = all_pcrs;
    EXPECT_EQ(describe(request, inspect_outcome::good).size("/pcrs"), 24U);
}

// Values in any of the forms that tools print them in, and what is no list of values.
TEST(InspectLog, HoldsPcrValuesAgainstTheLog) {
    const test::temp_dir dir;
    lab::inspect_request request;
    request.kind = inspect_kind::event_log;
    request.path = dir.write("log", boot());
    const test::description plain = describe(request, inspect_outcome::good);
    const std::string value = plain.at("/pcrs/7/values/sha256");
    const std::string sha1 = plain.at("/pcrs/7/values/sha1");
    const std::string before = plain.at("/events/6/pcr_values/sha256");
    const std::string zeros(64, '0');
    const struct {
        const char* name;
        std::string values;
        const char* verdict;
        codes remarks;
        const char* says = "";
    } rows[] = {
        {"same", "7 " + value, "well-formed", {}},
        {"as tools print it", "  sha256:\n    7 : 0x" + value + "\r\n# seen today\n", "well-formed", {}},
        {"of two banks", "7 " + value + "\n7 " + sha1, "well-formed", {}},
        {"an earlier one", "7 " + before, "contradicted", {"pcr-differs"}, "after event 7 it still has"},
        {"the first", "7 " + zeros, "contradicted", {"pcr-differs"}, "the one before its first event"},
        {"never", "7 " + std::string(64, '1'), "contradicted", {"pcr-differs"}, "never has the given value"},
        {"of no bank", "7 " + zeros + std::string(32, '0'), "well-formed", {"pcr-without-bank"}},
        {"no values", "nothing\n", "unjudged", {"no-pcr-values"}, "holds no line"},
        {"empty", "", "unjudged", {"no-pcr-values"}, "holds no line"},
        {"no digest", "7 " + value + "0", "unjudged", {"no-pcr-values"}, "line 1: the value of PCR 7"},
        {"no hexadecimal", "7 x" + value.substr(1), "unjudged", {"no-pcr-values"}, "line 1: the value of PCR 7"},
        {"no PCR", "7 " + value + "\n24 " + value, "unjudged", {"no-pcr-values"}, "line 2: there is no PCR 24"},
        {"twice", "7 " + value + "\n7 " + zeros, "unjudged", {"no-pcr-values"}, "line 2: PCR 7 is there already"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        request.pcr_values = dir.write("values", row.values);
        const auto outcome = std::string_view(row.verdict) == "unjudged"       ? inspect_outcome::unreadable
                             : std::string_view(row.verdict) == "contradicted" ? inspect_outcome::bad
                                                                               : inspect_outcome::good;
        const test::description said = describe(request, outcome);
        EXPECT_EQ(said.at("/verdict"), row.verdict);
        codes remarks = said.codes_of("/reasons");
        const codes cautions = said.codes_of("/cautions");
        remarks.insert(remarks.end(), cautions.begin(), cautions.end());
        EXPECT_EQ(remarks, row.remarks);
        const std::string why = said.at("/reasons") + said.at("/cautions");
        EXPECT_NE(why.find(row.says), std::string::npos) << why;
    }
}

}  // namespace
}  // namespace vellum
