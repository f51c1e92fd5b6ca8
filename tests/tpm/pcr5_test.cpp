#include <gtest/gtest.h>

#include "base/text.h"
#include "lab/pcr5_builder.h"
#include "tests/support/log_session.h"
#include "tpm/pcr5_stages.h"

namespace vellum {
namespace {

constexpr std::uint32_t EV_EFI_ACTION = 0x80000007;

using log_events = std::vector<lab::log_event>;

// The events of PCR[5] of a sealed device, in order: seal 1, disk measurement 2, GPT 3, separator 4.
struct sealed_boot {
    sealed_boot() {
        disk.vendor = lab::disk_measurement_event_guid;
        gpt.table.entries.resize(4);
    }

    lab::seal_measurement seal;
    lab::seal_measurement disk;
    lab::gpt_measurement gpt;
    void (*edit)(log_events&) = [](log_events&) {};

    tpm_events_chains parse() const {
        lab::event_log log;
        log.events = {build(seal), build(disk), build(gpt), lab::separator(5)};
        edit(log.events);
        std::optional<tpm_events_chains> chains;
        EXPECT_EQ(parse_tpm_log(build(log), chains), result::success);
        return std::move(*chains);
    }
};

lab::log_event early_value() {
    return lab::text_event(5, EV_EFI_ACTION, std::string_view("\0\0\0\0", 4));
}

void move_away(log_events& events) {
    for (lab::log_event& event : events) {
        event.pcr = 4;
    }
}

const std::vector<std::uint8_t> wrong_digest(32, 0x55);

// What a search keeps, by a letter each: separator by its Type and by its Value, Seal, Disk measurement, Partition
// table, then the data of seal (s) and partition table (p).
std::string kept(const pcr5_events& events) {
    const auto letter = [](bool there, char which) { return std::string(there ? 1 : 0, which); };
    return letter(events.separator_by_type != nullptr, 'T') + letter(events.separator_by_digest != nullptr, 'V') +
           letter(events.seal != nullptr, 'S') + letter(events.disk_measurement != nullptr, 'D') +
           letter(events.gpt != nullptr, 'P') + letter(!events.seal_data.empty(), 's') +
           letter(!events.gpt_data.empty(), 'p');
}

constexpr stage_verdict passed = stage_verdict::passed;
constexpr stage_verdict warned = stage_verdict::passed_with_warnings;
constexpr stage_verdict failed = stage_verdict::failed;

struct find_row {
    const char* name;
    void (*change)(sealed_boot&);
    stage_verdict expected;
    stage_verdict pre_os;
    const char* kept;
    std::string pushed;  // the last lines
};

const find_row find_rows[] = {
    {"AsItShouldBe", [](sealed_boot&) {}, passed, passed, "TVSDPsp", ""},
    {"EventsOfOtherPcrs", [](sealed_boot& boot) { boot.edit = move_away; }, failed, failed, "",
     "Could not find PCR[5] EFI GPT Event in TPM Event Log.\n"},
    {"SeparatorValueUnderAnotherType",
     [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.insert(e.begin() + 1, early_value()); }; }, warned,
     passed, "TVSDPsp",
     "WARNING: Found TPM Log PCR[5] event at position 2 in TPM Log that matches EV_SEPARATOR Event digest but has "
     "invalid type: 0x80000007(EV_EFI_ACTION).\n"},
    {"SeparatorWithAnotherDigest",
     [](sealed_boot& boot) {
         boot.edit = [](log_events& e) { e.back().data = {1, 2, 3, 4}, e.push_back(early_value()); };
     },
     failed, failed, "VSDPsp",
     "Possible TPM Event type forgery attack detected. Event with EV_SEPARATOR type in PCR[5] at position 4 has "
     "invalid digest.\n"},
    {"OnesInTheSeparator",
     [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.back().data.assign(4, 0xFF); }; }, passed, passed,
     "TVSDPsp", ""},
    {"DiskDigest", [](sealed_boot& boot) { boot.disk.digest = wrong_digest; }, failed, passed, "TVSPsp",
     "TPM Log Event EV_EFI_VARIABLE_DRIVER_CONFIG digest mismatch:\n"},
};

TEST(Pcr5Events, AreFoundAndMustBeGenuine) {
    for (const find_row& row : find_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session(log_level::off);
        sealed_boot boot;
        row.change(boot);
        const tpm_events_chains chains = boot.parse();
        pcr5_events events;
        EXPECT_EQ(validate_pcr5_events(chains, events).verdict, row.expected);
        EXPECT_EQ(kept(events), row.kept);
        EXPECT_EQ(check_pre_os_seal(events).verdict, row.pre_os);
        const std::string pushed = session.pushed();
        EXPECT_TRUE(row.pushed.empty() ? pushed.empty() : pushed.ends_with(row.pushed)) << pushed;
    }
}

struct size_row {
    const char* name;
    void (*change)(sealed_boot&);
    std::string pushed;  // empty: accepted
};

const size_row size_rows[] = {
    {"LongerSeal", [](sealed_boot& boot) { boot.seal.tail.assign(9, 1); }, ""},
    {"BytesBehindTheVariable", [](sealed_boot& boot) { boot.seal.tail = {1}, boot.seal.data_length = 91; }, ""},
    {"NameReachesPastTheEvent", [](sealed_boot& boot) { boot.seal.name_length = 53; },
     "Seal Event data size 137 is invalid.\n"},
    {"NameLengthWraps", [](sealed_boot& boot) { boot.seal.name_length = 0x8000000000000007; },
     "Seal Event data size 137 is invalid.\n"},
    {"DataLengthWraps", [](sealed_boot& boot) { boot.seal.data_length = UINT64_MAX; },
     "Seal Event data size 137 is invalid.\n"},
    {"GptWithoutEntries", [](sealed_boot& boot) { boot.gpt.table.entries.clear(); }, ""},
    {"GptCountWraps", [](sealed_boot& boot) { boot.gpt.table.claimed_count = 4 + (1ULL << 57); },
     "GPT Event data size 612 is invalid, expected exactly 9223372036854775807.\n"},
};

TEST(Pcr5Events, MustHaveTheirSizes) {
    for (const size_row& row : size_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session(log_level::error);
        sealed_boot boot;
        row.change(boot);
        const tpm_events_chains chains = boot.parse();
        pcr5_events events;
        EXPECT_EQ(validate_pcr5_events(chains, events).verdict,
                  row.pushed.empty() ? stage_verdict::passed : stage_verdict::failed);
        EXPECT_EQ(session.pushed(), row.pushed);
        const bool seal = row.pushed.starts_with("S");
        EXPECT_EQ(kept(events), row.pushed.empty() ? "TVSDPsp" : seal ? "TVSDPp" : "TVSDPs");
        EXPECT_EQ(check_pre_os_seal(events).verdict,
                  stage_verdict::passed);  // asks where it stands, not what it holds
    }
}

TEST(SealData, HoldsConfigurationAndHashOfTheSealLog) {
    test::log_session session(log_level::off);
    const std::vector<std::uint8_t> records(3 * 164, 0x77);
    sealed_boot boot;
    boot.seal.configuration = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    boot.seal.seal_log_hash = lab::seal_log_hash(records);
    const tpm_events_chains chains = boot.parse();
    pcr5_events events;
    ASSERT_EQ(validate_pcr5_events(chains, events).verdict, stage_verdict::passed);
    EXPECT_TRUE(equal_bytes(sealed_configuration(events.seal_data), boot.seal.configuration));
    EXPECT_EQ(match_seal_log_hash(records, events.seal_data).verdict, stage_verdict::passed);
    for (std::size_t at = 10; at < 74; ++at) {
        std::vector<std::uint8_t> changed_data(events.seal_data.begin(), events.seal_data.end());
        changed_data[at] ^= 1;
        EXPECT_EQ(match_seal_log_hash(records, changed_data).verdict, stage_verdict::failed) << at;
    }
    EXPECT_EQ(match_seal_log_hash(records, events.seal_data.first(73)).verdict, stage_verdict::failed);
    EXPECT_TRUE(sealed_configuration(events.seal_data.first(73)).empty());
    EXPECT_EQ(session.pushed(), "");
}

}  // namespace
}  // namespace vellum
