#include "seal/seal_log.h"

#include "base/text.h"
#include "seal/seal_events.h"
#include "tests/seal/history.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

using test::history;
using test::read_log;

constexpr std::uint32_t noon = test::session_time;

TEST(SealLog, CountsWholeRecordsAndKeepsEveryCountedByte) {
    test::log_session session(log_level::off);
    lab::seal_log two;
    two.seal_state = 2;
    two.events = {lab::seal_configured(noon, 7), lab::seal_broken(noon + 1, 9, 1, 2)};
    for (const std::size_t remainder : {std::size_t{0}, std::size_t{2}, seal_record_size - 1}) {
        two.trailing.assign(remainder, 0xEE);
        const seal_log log = read_log(two);
        EXPECT_EQ(log.seal_state, 2U);
        ASSERT_EQ(log.records.size(), 2U) << remainder;
        EXPECT_EQ(log.record_bytes.size(), 2 * seal_record_size + remainder);
        EXPECT_EQ(log.records[1].timestamp, noon + 1);
    }
}

TEST(SealLog, RefusesACountThatReachesPastTheBlock) {
    test::log_session session(log_level::off);
    lab::seal_log lying;
    lying.events = {lab::seal_enabled(noon)};
    lying.byte_count = 165;
    seal_log log;
    EXPECT_EQ(read_seal_log(lab::build(lying), log), result::invalid);
    EXPECT_EQ(session.pushed(), "Seal log has invalid size. Size of data: 1346, expected at least 1347.\n");
    lying.byte_count.reset();
    test::for_each_prefix(lab::build(lying), [&](test::bytes cut) {
        EXPECT_EQ(read_seal_log(cut, log), result::invalid) << cut.size();
        EXPECT_TRUE(log.records.empty() && log.record_bytes.empty());
    });
}

TEST(SealLog, PrintsEveryRecord) {
    test::log_session session(log_level::debug);
    lab::seal_log built;
    print_seal_log(read_log(built));
    built.events = {lab::seal_configured(0, 4'000'000'000)};
    print_seal_log(read_log(built));
    built.events = {lab::seal_broken(UINT32_MAX, UINT32_MAX, 200, 255),
                    lab::seal_disabled(noon, 0, 2),
                    lab::seal_disabled(noon, 2, 3),
                    lab::disk_lock_not_present(noon, 3, 4),
                    lab::disk_lock_password_retrieved(noon, 1, 5, 6),
                    lab::seal_event{8, noon, {}}};
    print_seal_log(read_log(built));
    EXPECT_EQ(session.logged(),
              "Seal log contains no events\n"
              "Seal log contains 1 event:\n"
              " - 1970-01-01 00:00:00 UTC - Seal Configured (Seal Instance ID: 4000000000)\n"
              "Seal log contains 6 events:\n"
              " - 2106-02-07 06:28:15 UTC - Seal Broken (Boot Counter: 200, KVR Execution Counter: 255, Reason #-1: "
              "'Unknown reason')\n"
              " - 2023-11-14 22:13:20 UTC - Seal Disabled (Status: KVR Aborted, Disabled in Pre Boot)\n"
              " - 2023-11-14 22:13:20 UTC - Seal Disabled (Status: Unknown status, Disabled in Post Boot)\n"
              " - 2023-11-14 22:13:20 UTC - Disk Lock Not Present (Boot Counter: 3, KVR Execution Counter: 4)\n"
              " - 2023-11-14 22:13:20 UTC - Disk Lock Password Retrieved (Post-boot, Boot Counter: 5, KVR Execution "
              "Counter: 6)\n"
              " - 2023-11-14 22:13:20 UTC - Unknown Event UNKNOWN_EVENT\n");
}

TEST(SealLog, DumpsTheEventDataAtTrace) {
    test::log_session session(log_level::trace);
    lab::seal_log built;
    built.events = {lab::seal_disabled(noon, 1, 0, test::bytes(152, 0xAB))};
    print_seal_log(read_log(built));
    const std::string logged = session.logged();
    EXPECT_NE(logged.find("\nEvent data:\n00000000 | 0100 0000 abab"), std::string::npos) << logged;
    EXPECT_TRUE(logged.ends_with("\n    LogData: " + upper_hex(test::bytes(152, 0xAB)) + "\n")) << logged;
}

TEST(SealLog, PushesTheReasonOfEveryBreak) {
    test::log_session session(log_level::off);
    const seal_log log = history("B E X");
    print_seal_broken_reasons(log);
    EXPECT_EQ(session.pushed(),
              "Chassis Intrusion detected.\n"
              "The disk was found already unlocked on the first KVR boot, or the unlocking has failed.\n");
}

}  // namespace
}  // namespace vellum
