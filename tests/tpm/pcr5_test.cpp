#include <gtest/gtest.h>

#include "core/text.h"
#include "lab/pcr5_builder.h"
#include "tests/support/log_session.h"
#include "tpm/pcr5_checks.h"

namespace vellum {
namespace {

constexpr std::uint32_t EV_EFI_ACTION = 0x80000007;

using log_events = std::vector<lab::log_event>;

// The events of PCR[5] of a sealed device, in order: seal 1, disk measurement 2, GPT 3, separator 4.
struct sealed_boot {
    sealed_boot() {
        disk.guid = lab::disk_measurement_event_guid;
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

enum kept : unsigned {
    SEPARATOR = 1,
    SEPARATOR_DIGEST = 2,
    SEAL = 4 + 32,
    DISK = 8,
    GPT = 16 + 64,
    SEAL_DATA = 32,
    GPT_DATA = 64,
    ALL = 127,
};

constexpr verdict passed = verdict::passed;
constexpr verdict warned = verdict::passed_with_warnings;
constexpr verdict failed = verdict::failed;

struct find_row {
    const char* name;
    void (*change)(sealed_boot&);
    verdict expected;
    verdict pre_os;
    unsigned lost;
    std::string pushed;  // the last lines
};

const find_row find_rows[] = {
    {"AsItShouldBe", [](sealed_boot&) {}, passed, passed, 0, ""},
    {"NoSeal", [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.erase(e.begin()); }; }, failed, failed, SEAL,
     "Could not find PCR[5] Seal Measurement Event in TPM Event Log.\n"},
    {"NoDiskMeasurement", [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.erase(e.begin() + 1); }; },
     passed, passed, DISK, ""},
    {"NoGpt", [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.erase(e.begin() + 2); }; }, failed, passed,
     GPT, "Could not find PCR[5] EFI GPT Event in TPM Event Log.\n"},
    {"NoSeparator", [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.pop_back(); }; }, failed, failed,
     SEPARATOR | SEPARATOR_DIGEST,
     "Could not find PCR[5] Event with EV_SEPARATOR type in TPM Log Event.\n"
     "Could not find PCR[5] Event with EV_SEPARATOR signature in TPM Log Event.\n"},
    {"EventsOfOtherPcrs", [](sealed_boot& boot) { boot.edit = move_away; }, failed, failed, ALL,
     "Could not find PCR[5] EFI GPT Event in TPM Event Log.\n"},
    {"SeparatorValueUnderAnotherType",
     [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.insert(e.begin() + 1, early_value()); }; }, warned,
     passed, 0,
     "WARNING: Found TPM Log PCR[5] event at position 2 in TPM Log that matches EV_SEPARATOR Event digest but has "
     "invalid type: 0x80000007(EV_EFI_ACTION).\n"},
    {"SealBehindThatValue",
     [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.insert(e.begin(), early_value()); }; }, warned, warned,
     0,
     "WARNING: Possible TPM Event type forgery attack detected. PCR[5] Seal TPM event was measured at position 2 in "
     "TPM Log before valid PCR[5] EV_SEPARATOR event at position 5 in TPM Log but after PCR[5] event at position 1 "
     "in TPM Log with valid EV_SEPARATOR digest and type other than EV_SEPARATOR.\n"},
    {"SealBehindSeparator",
     [](sealed_boot& boot) { boot.edit = [](log_events& e) { std::swap(e.front(), e.back()); }; }, passed, failed, 0,
     "ERROR: PCR[5] Seal TPM event at position 4 in TPM Log was measured after PCR[5] EV_SEPARATOR event at position "
     "1 in TPM Log.\n"},
    {"SeparatorWithAnotherDigest",
     [](sealed_boot& boot) {
         boot.edit = [](log_events& e) { e.back().data = {1, 2, 3, 4}, e.push_back(early_value()); };
     },
     failed, failed, SEPARATOR,
     "Possible TPM Event type forgery attack detected. Event with EV_SEPARATOR type in PCR[5] at position 4 has "
     "invalid digest.\n"},
    {"OnesInTheSeparator",
     [](sealed_boot& boot) { boot.edit = [](log_events& e) { e.back().data.assign(4, 0xFF); }; }, passed, passed, 0,
     ""},
    {"SealDigest", [](sealed_boot& boot) { boot.seal.digest = wrong_digest; }, failed, failed, SEAL,
     "TPM Log Event EV_EFI_VARIABLE_DRIVER_CONFIG digest mismatch:\n"},
    {"DiskDigest", [](sealed_boot& boot) { boot.disk.digest = wrong_digest; }, failed, passed, DISK,
     "TPM Log Event EV_EFI_VARIABLE_DRIVER_CONFIG digest mismatch:\n"},
    {"GptDigest", [](sealed_boot& boot) { boot.gpt.digest = wrong_digest; }, failed, passed, GPT,
     "TPM Log Event EV_EFI_GPT_EVENT digest mismatch:\n"},
};

unsigned what_is_kept(const pcr5_events& events) {
    return (events.separator_by_type != nullptr ? SEPARATOR : 0U) |
           (events.separator_by_digest != nullptr ? SEPARATOR_DIGEST : 0U) | (events.seal != nullptr ? 4U : 0U) |
           (events.disk_measurement != nullptr ? DISK : 0U) | (events.gpt != nullptr ? 16U : 0U) |
           (!events.seal_data.empty() ? SEAL_DATA : 0U) | (!events.gpt_data.empty() ? GPT_DATA : 0U);
}

TEST(Pcr5Events, AreFoundAndMustBeGenuine) {
    for (const find_row& row : find_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session(log_level::off);
        sealed_boot boot;
        row.change(boot);
        const tpm_events_chains chains = boot.parse();
        pcr5_events events;
        EXPECT_EQ(validate_pcr5_events(chains, events).verdict, row.expected);
        EXPECT_EQ(what_is_kept(events), ALL & ~row.lost);
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
    {"SealOf74Bytes", [](sealed_boot&) {}, ""},
    {"LongerSeal", [](sealed_boot& boot) { boot.seal.tail.assign(9, 1); }, ""},
    {"BytesBehindTheVariable", [](sealed_boot& boot) { boot.seal.tail = {1}, boot.seal.data_length = 91; }, ""},
    {"SealOf73Bytes", [](sealed_boot& boot) { boot.seal.seal_log_hash.pop_back(); },
     "Seal Event variable data size 136 is invalid, expected at least 74.\n"},
    {"VariableOneByteTooLong", [](sealed_boot& boot) { boot.seal.data_length = 92; },
     "Seal Event data size 137 is invalid.\n"},
    {"NameReachesPastTheEvent", [](sealed_boot& boot) { boot.seal.name_length = 53; },
     "Seal Event data size 137 is invalid.\n"},
    {"NameLengthWraps", [](sealed_boot& boot) { boot.seal.name_length = 0x8000000000000007; },
     "Seal Event data size 137 is invalid.\n"},
    {"DataLengthWraps", [](sealed_boot& boot) { boot.seal.data_length = UINT64_MAX; },
     "Seal Event data size 137 is invalid.\n"},
    {"GptWithoutEntries", [](sealed_boot& boot) { boot.gpt.table.entries.clear(); }, ""},
    {"GptOfFourEntriesAndAByte", [](sealed_boot& boot) { boot.gpt.tail = {1}; },
     "GPT Event data size 613 is invalid, expected exactly 612.\n"},
    {"GptCountWraps", [](sealed_boot& boot) { boot.gpt.table.claimed_count = 4 + (1ULL << 57); },
     "GPT Event data size 612 is invalid, expected exactly 9223372036854775807.\n"},
    {"GptHeaderCutShort", [](sealed_boot& boot) { boot.gpt.cut = 1, boot.gpt.table.entries.clear(); },
     "GPT Event data size 99 is invalid, expected at least 100.\n"},
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
                  row.pushed.empty() ? verdict::passed : verdict::failed);
        EXPECT_EQ(session.pushed(), row.pushed);
        EXPECT_EQ(what_is_kept(events) | (row.pushed.starts_with("S") ? SEAL_DATA : 0U) |
                      (row.pushed.starts_with("G") ? GPT_DATA : 0U),
                  ALL);
        EXPECT_EQ(session.logged().starts_with("ERROR: Seal Event data:\nERROR: 00000000 | 5a4a a316"),
                  row.pushed.starts_with("S"));
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
    ASSERT_EQ(validate_pcr5_events(chains, events).verdict, verdict::passed);
    EXPECT_TRUE(equal_bytes(sealed_configuration(events.seal_data), boot.seal.configuration));
    EXPECT_EQ(match_seal_log_hash(records, events.seal_data).verdict, verdict::passed);
    EXPECT_EQ(match_seal_log_hash(byte_view(records).first(164), events.seal_data).verdict, verdict::failed);
    for (std::size_t at = 10; at < 74; ++at) {
        std::vector<std::uint8_t> changed_data(events.seal_data.begin(), events.seal_data.end());
        changed_data[at] ^= 1;
        EXPECT_EQ(match_seal_log_hash(records, changed_data).verdict, verdict::failed) << at;
    }
    EXPECT_EQ(match_seal_log_hash(records, events.seal_data.first(73)).verdict, verdict::failed);
    EXPECT_TRUE(sealed_configuration(events.seal_data.first(73)).empty());
    EXPECT_EQ(session.pushed(), "");
}

}  // namespace
}  // namespace vellum
