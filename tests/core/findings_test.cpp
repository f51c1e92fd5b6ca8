#include "core/findings.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>

#include "core/os_error.h"
#include "platform/system_errors.h"
#include "tests/support/log_session.h"

#if defined(__SANITIZE_ADDRESS__)
#define VELLUM_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELLUM_ADDRESS_SANITIZER 1
#endif
#endif

namespace vellum {
namespace {

#ifdef VELLUM_ADDRESS_SANITIZER
constexpr bool ends_without_memory = true;
#else
constexpr bool ends_without_memory = false;
#endif

TEST(Deferred, PrintsInEitherOrderWithPrefixAndFlags) {
    test::log_session session;
    const auto push = [] {
        EXPECT_EQ(push_message("first %d", 1), result::success);
        EXPECT_EQ(push_message_flags(no_line_break, "second, "), result::success);
        EXPECT_EQ(push_message_flags(no_prefix, "third"), result::success);
        EXPECT_EQ(push_message("fourth\n"), result::success);
    };
    push();
    flush_messages(log_level::info, "    ", flush_order::oldest_first);
    EXPECT_EQ(session.logged(), "    first 1\n    second, third\n    fourth\n");
    push();
    flush_messages(log_level::error, "", flush_order::newest_first);
    EXPECT_EQ(session.logged(), "ERROR: fourth\nthird\nsecond, first 1\n");
    flush_messages(log_level::info, "    ", flush_order::newest_first);
    push();
    clear_messages();
    flush_messages(log_level::info, "    ", flush_order::newest_first);
    EXPECT_EQ(session.logged(), "");
}

TEST(Deferred, StackGrowsAndKeepsEveryMessage) {
    test::log_session session;
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(push_message("%d", i), result::success);
        expected += std::to_string(i) + "\n";
    }
    flush_messages(log_level::info, "", flush_order::oldest_first);
    EXPECT_EQ(session.logged(), expected);
}

TEST(Deferred, OsErrorReadsAsOneLine) {
    test::log_session session;
    EXPECT_EQ(push_os_error(os_status(7), "Cannot open %s.", "it"), result::success);
    EXPECT_EQ(push_os_error(os_status(5), "Cannot read."), result::success);
    flush_messages(log_level::info, "    ", flush_order::newest_first);
    EXPECT_EQ(session.logged(), "    Cannot read. Error: system text 5\n    Cannot open it. Error: system text 7\n");
}

TEST(Deferred, OsErrorWithoutMemoryForItsTextKeepsTheMessage) {
    class : public system_errors {
        std::optional<std::string> text(os_status) override { throw std::bad_alloc(); }
    } errors;
    test::log_session session;
    log_start(session.console, session.clock, errors);
    EXPECT_EQ(push_os_error(os_status(7), "Cannot open it."), result::success);
    flush_messages(log_level::info, "", flush_order::newest_first);
    EXPECT_EQ(session.logged(),
              "ERROR: Failed to allocate buffer for string representation of following WinAPI error: 0x7.\n"
              "Cannot open it. Error: Could not generate error message, an internal error occurred.\n");
}

TEST(Findings, AreReadInTheirOrderAndPrintedNewestFirst) {
    test::log_session session;
    report("cause"_id, "Cannot open it.").system_error(os_status(5));
    report("pcr-differs"_id, "PCR[%02d] does not match.", 4)
        .line(" Expected: %s", "ab")
        .text(" Actual: 100%")
        .empty_line();
    report_text("end"_id, "100%\n");
    const std::vector<finding> kept = kept_findings();
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_EQ(kept[1].id, "pcr-differs");
    EXPECT_EQ(kept[1].lines,
              (std::vector<std::string>{"PCR[04] does not match.", " Expected: ab", " Actual: 100%", ""}));
    flush_messages(log_level::info, "    ", flush_order::newest_first);
    EXPECT_EQ(session.logged(),
              "    100%\n    PCR[04] does not match.\n     Expected: ab\n     Actual: 100%\n\n"
              "    Cannot open it. Error: system text 5\n");
    EXPECT_TRUE(kept_findings().empty());
}

TEST(Findings, OfACheckAreDroppedToItsMark) {
    test::log_session session;
    report("kept"_id, "first").line("second");
    const finding_mark mark = mark_findings();
    report("dropped"_id, "third").line("fourth");
    drop_findings(mark);
    drop_findings(mark);
    report("later"_id, "fifth");
    EXPECT_EQ(take_messages(flush_order::oldest_first), "first\nsecond\nfifth");
}

TEST(Findings, ThatFoundNoMemoryAreSaidAtThePrinting) {
    if (ends_without_memory) {
        GTEST_SKIP() << "a sanitizer ends the program when memory runs out";
    }
    test::log_session session;
    const std::string_view endless("", PTRDIFF_MAX / 2);
    report("whole"_id, "whole").text(endless).line("goes on");
    report_text("lost"_id, endless).line("lost as well");
    flush_messages(log_level::info, "", flush_order::newest_first);
    EXPECT_EQ(session.logged(),
              "whole\ngoes on\nAn error in application occurred but internal memory management error made it "
              "impossible to print verbose error information.\n\n");
    report("whole"_id, "whole");
    flush_messages(log_level::info, "", flush_order::newest_first);
    EXPECT_EQ(session.logged(), "whole\n");
}

// Observes the findings while it lives.
struct observation {
    observation() { observe_findings(true); }
    ~observation() { observe_findings(false); }
    observation(const observation&) = delete;
    observation& operator=(const observation&) = delete;
};

std::string fields_of(const finding& found) {
    std::string text;
    for (const finding_field& field : found.fields) {
        text += std::string(field.name) + "=" + field.value + ";";
    }
    return text;
}

TEST(Findings, GiveTheirFieldsToWhoObserves) {
    test::log_session session;
    const observation observed;
    constexpr std::uint8_t digest[] = {0xAB, 0x01};
    report("first"_id, "first").field("file", "a\nb").system_error(os_status(5)).field("size", UINT64_MAX);
    report("plain"_id, "plain");
    note("noted"_id).field("expected", byte_view(digest)).field("time", std::int64_t{-1});
    begin_report("last"_id).field("pcr", 7).text("last");
    const std::vector<finding> kept = kept_findings();
    ASSERT_EQ(kept.size(), 4U);
    EXPECT_EQ(fields_of(kept[0]), "file=a\nb;os_error=5;size=18446744073709551615;");
    EXPECT_EQ(fields_of(kept[1]), "");
    EXPECT_EQ(kept[2].id, "noted");
    EXPECT_TRUE(kept[2].lines.empty());
    EXPECT_EQ(fields_of(kept[2]), "expected=ab01;time=-1;");
    EXPECT_EQ(fields_of(kept[3]), "pcr=7;");
    flush_messages(log_level::info, "  ", flush_order::newest_first);
    EXPECT_EQ(session.logged(), "  last\n  plain\n  first Error: system text 5\n");
    report("later"_id, "later");
    EXPECT_EQ(fields_of(kept_findings().at(0)), "");
}

TEST(Findings, LoseTheirFieldsWhenTheyAreDropped) {
    test::log_session session;
    const observation observed;
    report("kept"_id, "kept").field("pcr", 1);
    const finding_mark mark = mark_findings();
    report("dropped"_id, "dropped").field("pcr", 2);
    note("dropped-too"_id).field("pcr", 3);
    drop_findings(mark);
    report("next"_id, "next").field("pcr", 4);
    const std::vector<finding> kept = kept_findings();
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(fields_of(kept[0]) + fields_of(kept[1]), "pcr=1;pcr=4;");
}

TEST(Findings, KeepNeitherFieldsNorNotesUnobserved) {
    test::log_session session;
    report("first"_id, "first").field("pcr", 1).field("file", "name");
    note("noted"_id).field("pcr", 2);
    report("second"_id, "second").line("goes on");
    const std::vector<finding> kept = kept_findings();
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(fields_of(kept[0]) + fields_of(kept[1]), "");
    flush_messages(log_level::info, "", flush_order::oldest_first);
    EXPECT_EQ(session.logged(), "first\nsecond\ngoes on\n");
}

// A flush without a line would still end the line of what stands before it.
TEST(Findings, ThatAreNotedPrintNothing) {
    test::log_session session;
    const observation observed;
    note("noted"_id).field("pcr", 2);
    flush_messages(log_level::info, "    ", flush_order::newest_first);
    EXPECT_EQ(session.logged(), "");
    EXPECT_TRUE(kept_findings().empty());
}

}  // namespace
}  // namespace vellum
