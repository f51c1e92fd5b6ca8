#include "seal/seal_sequence.h"

#include <gtest/gtest.h>

#include "lab/seal_builder.h"
#include "seal/seal_date.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

constexpr std::uint32_t now = 1'700'000'000;  // 2023-11-14 22:13:20 UTC, the session's clock
using events = std::vector<lab::seal_event>;

seal_log read(const events& list) {
    lab::seal_log built;
    built.events = list;
    seal_log log;
    EXPECT_EQ(read_seal_log(lab::build(built), log), result::success);
    return log;
}

lab::seal_event configured(std::uint32_t time = now) {
    return lab::seal_configured(time, 1);
}
lab::seal_event retrieved(std::uint8_t boot = 1, std::uint8_t execution = 1) {
    return lab::disk_lock_password_retrieved(now, 1, boot, execution);
}
lab::seal_event removed(std::uint8_t boot = 1, std::uint8_t execution = 1, std::uint32_t time = now) {
    return lab::disk_lock_removal(time, boot, execution);
}
lab::seal_event not_present(std::uint8_t boot = 2, std::uint8_t execution = 2) {
    return lab::disk_lock_not_present(now, boot, execution);
}
lab::seal_event broken(std::uint8_t boot, std::uint8_t execution) {
    return lab::seal_broken(now, 1, boot, execution);
}
lab::seal_event unknown(std::uint32_t id) {
    return {id, now, {}};
}

constexpr const char* presence_warning =
    "WARNING: Event \"Disk Lock Not Present\" is present in the Seal Log. It may indicate that the platform was "
    "booted multiple times or the KVR BIOS Extension failed to unlock the disk.\n";

std::string misplaced(const std::string& name, const std::string& predecessor) {
    return "    Wrong sequence of events in the seal log. Event \"" + name + "\" occurred after event \"" +
           predecessor + "\".\n";
}

struct sequence_row {
    const char* name;
    events list;
    sequence_verdict expected;
    std::string pushed;
};

constexpr auto valid = sequence_verdict::valid;
constexpr auto warned = sequence_verdict::valid_with_warnings;
constexpr auto invalid = sequence_verdict::invalid;

const sequence_row sequence_rows[] = {
    {"Empty", {}, valid, ""},
    {"WholeLife", {configured(), lab::seal_enabled(now), retrieved(), removed()}, valid, ""},
    {"RetrievedFirst", {retrieved(), removed()}, valid, ""},
    {"IdZeroIsAnEventLikeOthers", {unknown(0), configured(), retrieved()}, valid, ""},
    {"OneMinuteAhead", {configured(now + 60)}, valid, ""},
    {"MoreThanAMinuteAhead",
     {configured(now + 61)},
     warned,
     "WARNING: Event \"Seal Configured\" timestamp (2023-11-14 22:14:21 UTC) is a date from future.\n"},
    {"FarAheadIsUnsigned",
     {configured(UINT32_MAX)},
     warned,
     "WARNING: Event \"Seal Configured\" timestamp (2106-02-07 06:28:15 UTC) is a date from future.\n"},
    {"OlderThanItsPredecessor",
     {configured(now - 10), lab::seal_enabled(now - 20)},
     warned,
     "WARNING: Event \"Seal Enabled\" occurred after event \"2023-11-14 22:13:00 UTC\" but its timestamp (Seal "
     "Configured) is earlier than date from the previous event timestamp (2023-11-14 22:13:00 UTC).\n"},
    {"FutureHidesOlderThanItsPredecessor",
     {configured(now + 100), lab::seal_enabled(now + 90)},
     warned,
     "WARNING: Event \"Seal Configured\" timestamp (2023-11-14 22:15:00 UTC) is a date from future.\n"
     "WARNING: Event \"Seal Enabled\" timestamp (2023-11-14 22:14:50 UTC) is a date from future.\n"},
    {"CountersDiffer",
     {broken(5, 6)},
     warned,
     "WARNING: Seal Log event \"Seal Broken\" Boot Counter (5) does not match KVR Execution Counter (6).\n"},
    {"BootCounterOfEachDiskLockEvent",
     {retrieved(0, 0), removed(0, 0), not_present(1, 1)},
     warned,
     std::string(
         "WARNING: Event \"Disk Lock Password Retrieved\" has incorrect boot counter value. Expected 1 but "
         "was 0.\n"
         "WARNING: Event \"Disk Lock Removal\" has incorrect boot counter value. Expected 1 but was 0.\n"
         "WARNING: Event \"Disk Lock Not Present\" has incorrect boot counter value. Expected larger or equal "
         "2 but was 1.\n") +
         presence_warning},
    {"BootCounterTwoOfRemoval",
     {retrieved(), removed(2, 2)},
     warned,
     "WARNING: Event \"Disk Lock Removal\" has incorrect boot counter value. Expected 1 but was 2.\n"},
    {"NotPresentTwiceAfterRemoval",
     {retrieved(), removed(), not_present(), not_present(3, 3)},
     warned,
     presence_warning},
    {"CountersMayRepeatOrGrowByOne", {broken(7, 7), broken(7, 7), configured(), broken(8, 8)}, valid, ""},
    {"CountersJumpOverARecordWithout",
     {broken(7, 7), configured(), broken(9, 9)},
     warned,
     "WARNING: Seal Log event \"Seal Broken\" Boot Counter (9) is not equal or greater by one than Seal Log event "
     "\"Seal Broken\" Boot Counter (7).\n"
     "WARNING: Seal Log event \"Seal Broken\" KVR Execution Counter (9) is not equal or greater by one than Seal Log "
     "event \"Seal Broken\" KVR Execution Counter (7).\n"},
    {"CountersFallOfOneKindOnly",
     {broken(7, 7), broken(7, 6)},
     warned,
     "WARNING: Seal Log event \"Seal Broken\" Boot Counter (7) does not match KVR Execution Counter (6).\n"
     "WARNING: Seal Log event \"Seal Broken\" KVR Execution Counter (6) is not equal or greater by one than Seal Log "
     "event \"Seal Broken\" KVR Execution Counter (7).\n"},
    {"CountersDoNotStartOver",
     {broken(255, 255), broken(0, 0)},
     warned,
     "WARNING: Seal Log event \"Seal Broken\" Boot Counter (0) is not equal or greater by one than Seal Log event "
     "\"Seal Broken\" Boot Counter (255).\n"
     "WARNING: Seal Log event \"Seal Broken\" KVR Execution Counter (0) is not equal or greater by one than Seal Log "
     "event \"Seal Broken\" KVR Execution Counter (255).\n"},
    {"UnsupportedIdIsNoPredecessor",
     {retrieved(), unknown(8), unknown(UINT32_MAX), removed()},
     warned,
     "WARNING: Found event in Seal Log with not supported Event ID: 8. Skipping this event validation.\n"
     "WARNING: Found event in Seal Log with not supported Event ID: -1. Skipping this event validation.\n"},
    {"RemovedTwice",
     {retrieved(), removed(), removed()},
     invalid,
     "    Event \"Disk Lock Removal\" occurred more than once.\n"},
    {"RetrievedTwice",
     {retrieved(), retrieved(), unknown(9)},
     invalid,
     "    Event \"Disk Lock Password Retrieved\" occurred more than once.\n"},
    {"RemovalFirst",
     {removed(), retrieved()},
     invalid,
     "    Wrong sequence of events in the seal log. No Event occurred before \"Disk Lock Removal\".\n"},
    {"NotPresentFirst",
     {not_present()},
     invalid,
     "    Wrong sequence of events in the seal log. No Event occurred before \"Disk Lock Not Present\".\n"},
    {"RemovalNotDirectlyAfterRetrieved",
     {configured(), removed()},
     invalid,
     misplaced("Disk Lock Removal", "Seal Configured")},
    {"NotPresentAfterRetrieved",
     {retrieved(), not_present()},
     invalid,
     misplaced("Disk Lock Not Present", "Disk Lock Password Retrieved")},
    {"RetrievedAfterRemoval",
     {configured(), retrieved(), removed(), lab::seal_enabled(now)},
     invalid,
     misplaced("Seal Enabled", "Disk Lock Removal")},
    {"BrokenAfterRetrieved",
     {retrieved(), broken(1, 1)},
     invalid,
     misplaced("Seal Broken", "Disk Lock Password Retrieved")},
    {"IdZeroAfterNotPresent",
     {retrieved(), removed(), not_present(), unknown(0)},
     invalid,
     misplaced("Unknown Event", "Disk Lock Not Present")},
};

TEST(SealSequence, JudgesAndSaysWhy) {
    for (const sequence_row& row : sequence_rows) {
        test::log_session session(log_level::off);
        EXPECT_EQ(validate_seal_log_sequence(read(row.list)).verdict, row.expected) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

TEST(SealSequence, HandsOutTheDiskLockRecordsAndLogsTheOrder) {
    test::log_session session(log_level::debug);
    const seal_log log = read({configured(), retrieved(), removed(), not_present(), not_present()});
    const sequence_findings findings = validate_seal_log_sequence(log);
    EXPECT_EQ(findings.password_retrieved, &log.records[1]);
    EXPECT_EQ(findings.lock_removal, &log.records[2]);
    EXPECT_EQ(findings.lock_not_present, &log.records[4]);
    EXPECT_EQ(session.logged(),
              "No Event occurred before \"Seal Configured\".\n"
              "Event Disk Lock Password Retrieved occurred after event \"Seal Configured\".\n"
              "Event Disk Lock Removal occurred after event \"Disk Lock Password Retrieved\".\n"
              "Event Disk Lock Not Present occurred after event \"Disk Lock Removal\".\n"
              "Event Disk Lock Not Present occurred after event \"Disk Lock Not Present\".\n");
}

struct stage_row_case {
    const char* name;
    events list;
    bool sed_lock;
    enum verdict expected;
    std::string pushed;
};

constexpr const char* no_retrieved =
    "Event \"Disk Lock Password Retrieved\" is not present in the Seal Log, but SED lock is enabled.\n";
constexpr const char* no_removal =
    "Event \"Disk Lock Removal\" is not present in the Seal Log, but SED lock is enabled.\n";

const stage_row_case stage_rows[] = {
    {"Empty", {}, false, verdict::passed, ""},
    {"EmptyWithLock", {}, true, verdict::failed, std::string(no_retrieved) + no_removal},
    {"RetrievedOnly", {retrieved()}, true, verdict::failed, no_removal},
    {"RetrievedOnlyWithoutLock", {retrieved()}, false, verdict::passed, ""},
    {"UnlockedAnHourAgo", {retrieved(), removed()}, true, verdict::passed, ""},
    {"Invalid",
     {removed()},
     true,
     verdict::failed,
     "    Wrong sequence of events in the seal log. No Event occurred before \"Disk Lock Removal\".\n"
     "ERROR: Seal log events validation failed\n"},
    {"Warned",
     {broken(1, 2)},
     false,
     verdict::passed_with_warnings,
     "WARNING: Seal Log event \"Seal Broken\" Boot Counter (1) does not match KVR Execution Counter (2).\n"},
    {"WarnedAndLockMissing",
     {broken(1, 2)},
     true,
     verdict::failed,
     std::string("WARNING: Seal Log event \"Seal Broken\" Boot Counter (1) does not match KVR Execution Counter "
                 "(2).\n") +
         no_retrieved + no_removal},
};

TEST(VerifySealLog, PassesWarnsOrFails) {
    for (const stage_row_case& row : stage_rows) {
        test::log_session session(log_level::off);
        session.clock.time = now + 3600;
        EXPECT_EQ(verify_seal_log(read(row.list), row.sed_lock).verdict, row.expected) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

TEST(VerifySealLog, WarnsOnceTheDiskIsUnlockedForMoreThanAnHour) {
    test::log_session session(log_level::debug);
    session.clock.time = now + 3601;
    const seal_log log = read({retrieved(), removed()});
    EXPECT_EQ(verify_seal_log(log, true).verdict, verdict::passed_with_warnings);
    EXPECT_EQ(session.logged().substr(0, 29), "Seal log contains 2 events:\n ");
    EXPECT_EQ(session.pushed(),
              "The time elapsed since the disk was unlocked (2023-11-14 22:13:20 UTC) is more than one hour.\n");
    EXPECT_EQ(verify_seal_log(log, false).verdict, verdict::passed);
}

struct date_row {
    std::int64_t now;
    std::uint32_t seal_time;
    result expected;
    std::string pushed;
};

const date_row date_rows[] = {
    {now, now + 60, result::success, ""},
    {now, now + 61, result::check_failed,
     "The seal event timestamp reported in the seal signature is in the future. The Sealing has occurred at "
     "2023-11-14 22:14:21 UTC, while now is 2023-11-14 22:13:20 UTC. Please check time settings on this machine and "
     "in the manufacturing environment.\n"},
    {0x7FFFFFFF, 0x80000000, result::success, ""},
    {0x80000000, now, result::check_failed,
     "Current date 2038-01-19 03:14:08 UTC exceeds 32-bit time counter precision on which the seal date is saved. "
     "Comparison may no longer accurate.\n"},
};

TEST(SealDate, IsPlausibleOrSaysWhyNot) {
    for (const date_row& row : date_rows) {
        test::log_session session(log_level::off);
        session.clock.time = row.now;
        EXPECT_EQ(check_seal_date(row.seal_time), row.expected) << row.now << ' ' << row.seal_time;
        EXPECT_EQ(session.pushed(), row.pushed) << row.now << ' ' << row.seal_time;
    }
    test::log_session session(log_level::debug);
    EXPECT_EQ(check_seal_date(now + 100), result::check_failed);
    EXPECT_EQ(session.logged(),
              "Retrieved seal date UTC epoch is equal: 2023-11-14 22:15:00 UTC\n"
              "Seal date UTC epoch: 0x6553f164. Current UTC epoch: 0x6553f100.\n");
}

}  // namespace
}  // namespace vellum
