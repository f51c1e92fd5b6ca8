#include "seal/seal_sequence.h"

#include "seal/seal_date.h"
#include "tests/seal/history.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

using test::history;

constexpr std::uint32_t now = test::session_time;
constexpr auto valid = sequence_verdict::valid;
constexpr auto warned = sequence_verdict::valid_with_warnings;
constexpr auto invalid = sequence_verdict::invalid;

const std::string present =
    "WARNING: Event \"Disk Lock Not Present\" is present in the Seal Log. It may indicate that the platform was "
    "booted multiple times or the KVR BIOS Extension failed to unlock the disk.\n";
const std::string wrong = "    Wrong sequence of events in the seal log. ";

std::string future(const std::string& name, const std::string& time) {
    return "WARNING: Event \"" + name + "\" timestamp (2023-11-14 " + time + " UTC) is a date from future.\n";
}

std::string unequal(const std::string& boot, const std::string& execution) {
    return "WARNING: Seal Log event \"Seal Broken\" Boot Counter (" + boot +
           ") does not match KVR Execution Counter (" + execution + ").\n";
}

std::string boot_counter(const std::string& name, const std::string& expected, const std::string& actual) {
    return "WARNING: Event \"" + name + "\" has incorrect boot counter value. Expected " + expected + " but was " +
           actual + ".\n";
}

std::string jump(const std::string& counter, const std::string& current, const std::string& earlier) {
    return "WARNING: Seal Log event \"Seal Broken\" " + counter + " (" + current +
           ") is not equal or greater by one than Seal Log event \"Seal Broken\" " + counter + " (" + earlier +
           ").\n";
}

std::string repeated(const std::string& name) {
    return "    Event \"" + name + "\" occurred more than once.\n";
}

std::string misplaced(const std::string& name, const std::string& predecessor) {
    return wrong + "Event \"" + name + "\" occurred after event \"" + predecessor + "\".\n";
}

struct sequence_row {
    const char* name;
    const char* events;
    sequence_verdict expected;
    std::string pushed;
};

const sequence_row sequence_rows[] = {
    {"Empty", "", valid, ""},
    {"IdZeroIsAnEventLikeOthers", "U0 C P", valid, ""},
    {"OneMinuteAhead", "C@60", valid, ""},
    {"MoreThanAMinuteAhead", "C@61", warned, future("Seal Configured", "22:14:21")},
    {"FutureHidesOlderThanItsPredecessor", "C@100 E@90", warned,
     future("Seal Configured", "22:15:00") + future("Seal Enabled", "22:14:50")},
    {"BootCounterOfEachDiskLockEvent", "P0/0 R0/0 N1/1", warned,
     boot_counter("Disk Lock Password Retrieved", "1", "0") + boot_counter("Disk Lock Removal", "1", "0") +
         boot_counter("Disk Lock Not Present", "larger or equal 2", "1") + present},
    {"BootCounterTwoOfRemoval", "P R2/2", warned, boot_counter("Disk Lock Removal", "1", "2")},
    {"NotPresentTwiceAfterRemoval", "P R N2/2 N3/3", warned, present},
    {"CountersMayRepeatOrGrowByOne", "B7/7 B7/7 C B8/8", valid, ""},
    {"CountersJumpOverARecordWithout", "B7/7 C B9/9", warned,
     jump("Boot Counter", "9", "7") + jump("KVR Execution Counter", "9", "7")},
    {"CountersFallOfOneKindOnly", "B7/7 B7/6", warned, unequal("7", "6") + jump("KVR Execution Counter", "6", "7")},
    {"CountersDoNotStartOver", "B255/255 B0/0", warned,
     jump("Boot Counter", "0", "255") + jump("KVR Execution Counter", "0", "255")},
    {"UnsupportedIdIsNoPredecessor", "P U4294967295 R", warned,
     "WARNING: Found event in Seal Log with not supported Event ID: -1. Skipping this event validation.\n"},
    {"RemovedTwice", "P R R", invalid, repeated("Disk Lock Removal")},
    {"RetrievedTwiceEndsIt", "P P U9", invalid, repeated("Disk Lock Password Retrieved")},
    {"RemovalFirst", "R P", invalid, wrong + "No Event occurred before \"Disk Lock Removal\".\n"},
    {"NotPresentFirst", "N2/2", invalid, wrong + "No Event occurred before \"Disk Lock Not Present\".\n"},
    {"NotPresentAfterRetrieved", "P N2/2", invalid,
     misplaced("Disk Lock Not Present", "Disk Lock Password Retrieved")},
    {"EnabledAfterRemoval", "C P R E", invalid, misplaced("Seal Enabled", "Disk Lock Removal")},
    {"BrokenAfterRetrieved", "P B", invalid, misplaced("Seal Broken", "Disk Lock Password Retrieved")},
    {"IdZeroAfterNotPresent", "P R N2/2 U0", invalid, misplaced("Unknown Event", "Disk Lock Not Present")},
};

TEST(SealSequence, JudgesAndSaysWhy) {
    for (const sequence_row& row : sequence_rows) {
        test::log_session session(log_level::off);
        EXPECT_EQ(validate_seal_log_sequence(history(row.events), session.clock.time).verdict, row.expected)
            << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

TEST(SealSequence, HandsOutTheLastOfTheDiskLockRecords) {
    test::log_session session(log_level::off);
    const seal_log log = history("C P R N2/2 N2/2");
    const sequence_findings findings = validate_seal_log_sequence(log, session.clock.time);
    EXPECT_EQ(findings.password_retrieved, &log.records[1]);
    EXPECT_EQ(findings.lock_removal, &log.records[2]);
    EXPECT_EQ(findings.lock_not_present, &log.records[4]);
}

const std::string no_disk_records =
    "Event \"Disk Lock Password Retrieved\" is not present in the Seal Log, but SED lock is enabled.\n"
    "Event \"Disk Lock Removal\" is not present in the Seal Log, but SED lock is enabled.\n";
const std::string long_ago =
    "The time elapsed since the disk was unlocked (2023-11-14 22:13:19 UTC) is more than one hour.\n";

struct verify_row {
    const char* events;
    bool sed_lock;
    enum stage_verdict expected;
    std::string pushed;
};

const verify_row verify_rows[] = {
    {"P", false, stage_verdict::passed, ""},
    {"P R", true, stage_verdict::passed, ""},
    {"P@-1 R@-1", true, stage_verdict::passed_with_warnings, long_ago},
    {"P@-1 R@-1", false, stage_verdict::passed, ""},
    {"B1/2", true, stage_verdict::failed, unequal("1", "2") + no_disk_records},
};

TEST(VerifySealLog, PassesWarnsOrFailsAnHourLater) {
    for (const verify_row& row : verify_rows) {
        test::log_session session(log_level::off);
        session.clock.time = now + 3600;
        EXPECT_EQ(verify_seal_log(history(row.events), row.sed_lock, session.clock.time).verdict, row.expected)
            << row.events;
        EXPECT_EQ(session.pushed(), row.pushed) << row.events;
    }
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
        EXPECT_EQ(check_seal_date(row.seal_time, row.now), row.expected) << row.now << ' ' << row.seal_time;
        EXPECT_EQ(session.pushed(), row.pushed) << row.now << ' ' << row.seal_time;
    }
    test::log_session session(log_level::debug);
    EXPECT_EQ(check_seal_date(now + 100, now), result::check_failed);
    EXPECT_EQ(session.logged(),
              "Retrieved seal date UTC epoch is equal: 2023-11-14 22:15:00 UTC\n"
              "Seal date UTC epoch: 0x6553f164. Current UTC epoch: 0x6553f100.\n");
}

}  // namespace
}  // namespace vellum
