// What is odd about a log: each oddity gives its remark and no other, and a good log gives none.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "lab/event_log_builder.h"
#include "lab/sample_boot.h"
#include "tests/support/real_logs.h"
#include "tpm/event_details/log_health.h"
#include "tpm/event_log.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

using bytes = std::vector<std::uint8_t>;
using change = std::function<void(lab::event_log&)>;

constexpr std::uint32_t EV_POST_CODE = 0x00000001;
constexpr std::uint32_t EV_EFI_BOOT_SERVICES_DRIVER = 0x80000004;

bytes boot(const change& made) {
    lab::event_log log = lab::clean_boot();
    made(log);
    return build(log);
}

lab::log_event& separator_of(lab::event_log& log, std::uint32_t pcr) {
    return *std::find_if(log.events.begin(), log.events.end(),
                         [=](const auto& event) { return event.type == EV_SEPARATOR && event.pcr == pcr; });
}

// The digests that the builder gives to data.
std::vector<lab::log_digest> digests_of(const bytes& data, const lab::event_log& log) {
    lab::event_log one;
    one.spec_id = log.spec_id;
    one.events = {lab::text_event(0, EV_POST_CODE, std::string(data.begin(), data.end()))};
    const bytes built = build(one);
    event_log_reader reader;
    logged_event event;
    EXPECT_TRUE(ok(reader.open(built, log_banks::any)) && reader.read(event));
    std::vector<lab::log_digest> out;
    for (const event_digest& digest : event.banks()) {
        out.push_back({digest.algorithm, {digest.value.begin(), digest.value.end()}});
    }
    return out;
}

void forget_sha256(lab::event_log& log, std::uint32_t pcr) {
    for (lab::log_event& event : log.events) {
        if (event.pcr == pcr && event.type != EV_NO_ACTION) {
            event.digests = digests_of(event.data, log);
            event.digests->back().value.assign(32, 0);
        }
    }
}

// The separator of PCR 2 becomes an event of another type with its digest.
void retype(lab::event_log& log) {
    lab::log_event& event = separator_of(log, 2);
    event.digests = digests_of({0, 0, 0, 0}, log);
    event.type = EV_EFI_BOOT_SERVICES_DRIVER;
}

struct health_row {
    const char* name;
    bytes log;
    const char* id = nullptr;  // null: none
    remark_severity severity = remark_severity::caution;
    std::uint32_t pcrs = 0;
    std::uint32_t event = 0;
    std::vector<given_pcr> given = {};
};

given_pcr given_value(std::uint32_t pcr, const bytes& value) {
    return {pcr, value};
}

const bytes strange(32, 0x11);
const bytes ones(32, 0xFF);

std::vector<health_row> health_rows() {
    const bytes good = boot([](auto&) {});
    const auto size = static_cast<std::uint32_t>(lab::clean_boot().events.size());
    bytes filled = good;
    filled.insert(filled.end(), 4, 0xFF);
    bytes longer = good;
    longer.push_back(1);
    return {
        {"good", good},
        {"without banks but SHA-256", boot([](auto& log) { log.spec_id->banks.erase(log.spec_id->banks.begin()); })},
        {"filled", filled, "filling"},
        {"something behind it", longer, "left-over", remark_severity::damage},
        {"no events", boot([](auto& log) { log.events.clear(); }), "no-events"},
        {"another PCR", boot([](auto& log) { log.events.back().pcr = 99; }), "ignored-events",
         remark_severity::caution, 0, size},
        {"legacy", boot([](auto& log) {
             log.spec_id.reset();
             log.events.erase(log.events.begin());
         }),
         "legacy", remark_severity::damage},
        {"SHA-1 alone", boot([](auto& log) { log.spec_id->banks.pop_back(); }), "no-sha256-bank"},
        {"no separator", boot([](auto& log) { separator_of(log, 3).pcr = 11; }), "missing-separator",
         remark_severity::caution, 1U << 3},
        {"two separators", boot([](auto& log) { log.events.push_back(lab::separator(6)); }), "repeated-separator",
         remark_severity::caution, 1U << 6, size + 1},
        {"error", boot([](auto& log) {
             separator_of(log, 1).data = {1, 0, 0, 0};
         }),
         "firmware-error", remark_severity::caution, 1U << 1, 12},
        {"ones are as good as zeros", boot([](auto& log) { separator_of(log, 1).data.assign(4, 0xFF); })},
        {"false separator", boot([](auto& log) { separator_of(log, 1).digests = digests_of({'x'}, log); }),
         "false-separator", remark_severity::damage, 1U << 1, 12},
        {"retyped separator", boot(retype), "retyped-separator", remark_severity::damage, 1U << 2, 13},
        {"separator's digest beside it", boot([](auto& log) {
             log.events[4].digests = digests_of({0, 0, 0, 0}, log);
         }),
         "separator-digest", remark_severity::caution, 1U << 0, 5},
        {"digest of other data", boot([](auto& log) { log.events[7].digests = digests_of({'x'}, log); }),
         "contradicted-digest", remark_severity::caution, 1U << 1, 8},
        {"late driver", boot([](auto& log) {
             log.events.push_back(lab::text_event(2, EV_EFI_BOOT_SERVICES_DRIVER, "late"));
             log.events.push_back(lab::text_event(2, EV_EFI_BOOT_SERVICES_DRIVER, "later"));
         }),
         "late-event", remark_severity::caution, 1U << 2, size + 1},
        {"driver that a loader loads",
         boot([](auto& log) { log.events.push_back(lab::text_event(4, EV_EFI_BOOT_SERVICES_DRIVER, "rightly")); })},
        {"type in a PCR that it is not for", boot([](auto& log) {
             log.events.insert(log.events.begin() + 3, lab::text_event(7, EV_EFI_BOOT_SERVICES_DRIVER, "where?"));
         }),
         "misplaced-type", remark_severity::caution, 1U << 7, 4},
        {"SHA-256 not extended", boot([](auto& log) { forget_sha256(log, 2); }), "unextended-sha256",
         remark_severity::damage, 1U << 2},
        {"registers of a confidential machine", boot([](auto& log) { log.spec_id->pcr = 1; }),
         "confidential-registers", remark_severity::note},

        {"one PCR of another boot",
         good,
         "pcr-differs",
         remark_severity::damage,
         1U << 4,
         0,
         {given_value(4, strange)}},
        {"PCRs of another boot",
         good,
         "other-boot",
         remark_severity::damage,
         1U << 0 | 1U << 4,
         0,
         {given_value(0, strange), given_value(4, strange)}},
        {"PCR of the loader", good, "pcr-differs", remark_severity::caution, 1U << 11, 0, {given_value(11, strange)}},
        {"PCR of the system's own log",
         good,
         "operating-system-pcr",
         remark_severity::note,
         1U << 10,
         0,
         {given_value(10, strange)}},
        {"PCR of a dynamic launch",
         good,
         "dynamic-launch-pcr",
         remark_severity::note,
         1U << 17,
         0,
         {given_value(17, strange)}},
        {"PCR of no launch", good, nullptr, {}, 0, 0, {given_value(17, ones)}},
        {"PCR for anybody", good, "free-pcr", remark_severity::note, 1U << 23, 0, {given_value(23, strange)}},
        {"value of no bank",
         good,
         "pcr-without-bank",
         remark_severity::caution,
         1U << 0,
         0,
         {given_value(0, bytes(48, 1))}},
    };
}

TEST(LogHealth, FindsEachOddityAndNothingElse) {
    for (const health_row& row : health_rows()) {
        SCOPED_TRACE(row.name);
        const std::vector<remark> found = health_of(row.log, row.given);
        std::string ids;
        for (const remark& each : found) {
            ids += std::string(each.id) + ": " + each.says + "\n";
        }
        ASSERT_EQ(found.size(), row.id == nullptr ? 0U : 1U) << ids;
        if (row.id != nullptr) {
            EXPECT_STREQ(found[0].id, row.id);
            EXPECT_EQ(found[0].severity, row.severity);
            EXPECT_EQ(found[0].pcrs, row.pcrs);
            EXPECT_EQ(found[0].event, row.event);
            EXPECT_TRUE(found[0].says.ends_with('.')) << ids;
        }
    }
}

// The value after each event of a PCR, and those before and behind all of them.
TEST(LogHealth, SaysUpToWhereAValueMatches) {
    const bytes log = boot([](auto&) {});
    event_log_reader reader;
    ASSERT_TRUE(ok(reader.open(log, log_banks::any)));
    log_replay registers(reader);
    std::vector<bytes> values;
    std::vector<std::uint32_t> positions;
    logged_event event;
    for (std::uint32_t position = 1; reader.read(event); ++position, reader.advance()) {
        if (event.pcr == 4) {
            EXPECT_TRUE(registers.extend(event));
            const byte_view value = registers.value(*registers.bank_of_size(32), 4);
            values.emplace_back(value.begin(), value.end());
            positions.push_back(position);
        }
    }
    ASSERT_EQ(positions.size(), 3U);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const std::vector<remark> found = health_of(log, {given_value(4, values[i])});
        const bool is_last = i + 1 == positions.size();
        ASSERT_EQ(found.size(), is_last ? 0U : 1U);
        if (!is_last) {
            EXPECT_EQ(found[0].event, positions[i]);
            EXPECT_NE(found[0].says.find("after event " + std::to_string(positions[i])), std::string::npos);
        }
    }
}

// A log full of oddities is no longer to tell of than one that has each once.
TEST(LogHealth, MakesEachRemarkOnce) {
    const bytes log = boot([](auto& made) {
        for (int i = 0; i < 1000; ++i) {
            made.events.push_back(lab::separator(6));
            made.events.push_back(lab::text_event(2, EV_EFI_BOOT_SERVICES_DRIVER, "late"));
        }
    });
    EXPECT_EQ(health_of(log, {}).size(), 2U);
}

TEST(LogHealth, ReplaysWhatAValidationReplays) {
    const bytes log = build(lab::changed_boot());
    std::optional<tpm_events_chains> chains;
    ASSERT_TRUE(ok(parse_tpm_log(log, chains)));
    const pcr_value_list expected = replay_pcrs_from_log(*chains);
    std::vector<given_pcr> given;
    for (std::uint32_t pcr = 0; pcr < pcr_count; ++pcr) {
        given.push_back({pcr, {expected[pcr].begin(), expected[pcr].end()}});
    }
    EXPECT_TRUE(health_of(log, given).empty());
}

TEST(LogHealth, BearsEveryCutAndEveryValueOfABank) {
    const bytes log = boot([](auto& made) { made.events.resize(4); });
    for (std::size_t size = 0; size < log.size(); ++size) {
        const bytes cut(log.begin(), log.begin() + static_cast<std::ptrdiff_t>(size));
        for (const remark& each : health_of(cut, {given_value(0, strange)})) {
            EXPECT_FALSE(each.says.empty());
        }
    }
    const bytes twice = boot([](auto& made) {
        made.spec_id->banks = {{lab::TPM_ALG_SHA256, 200}, {lab::TPM_ALG_SHA256, 32}};
    });
    EXPECT_FALSE(health_of(twice, {}).empty());
}

// Logs of machines in use are honest; fragments of them need not be whole.
TEST(LogHealth, FindsNoDamageInRealLogs) {
    const auto paths = test::real_logs();
    if (paths.empty()) {
        GTEST_SKIP() << "no real logs in \"" << test::real_logs_folder() << "\"";
    }
    for (const auto& path : paths) {
        SCOPED_TRACE(path.filename().string());
        const std::vector<remark> found = health_of(test::read_log(path), {});
        const bool is_fragment = std::any_of(
            found.begin(), found.end(), [](const remark& each) { return std::string_view(each.id) == "no-events"; });
        for (const remark& each : found) {
            const bool expected = is_fragment || std::string_view(each.id) == "legacy";
            EXPECT_TRUE(each.severity != remark_severity::damage || expected) << each.id << ": " << each.says;
        }
    }
}

}  // namespace
}  // namespace vellum
