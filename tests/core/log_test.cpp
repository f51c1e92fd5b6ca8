#include "core/log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <new>

#include "base/path.h"
#include "base/text.h"
#include "core/dump.h"
#include "core/os_error.h"
#include "core/times.h"
#include "platform/regular_file.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

TEST(Levels, EachSinkAdmitsWhatItsThresholdAllows) {
    const log_level all[] = {log_level::error, log_level::warning, log_level::brief,
                             log_level::info,  log_level::debug,   log_level::trace};
    const char* const console[] = {"ERROR: m\n", "WARNING: m\n", "m\n", "m\n", "m\n", "m\n"};
    const char* const tags[] = {
        "[ERROR]:   ", "[WARNING]: ", "[BRIEF]:   ", "[INFO]:    ", "[DEBUG]:   ", "[TRACE]:   "};
    const test::temp_dir dir;
    for (int threshold = 0; threshold <= 6; ++threshold) {
        test::log_session session(static_cast<log_level>(threshold));
        const std::string path = dir.file("level" + std::to_string(threshold));
        ASSERT_EQ(open_log_file(path.c_str()), result::success);
        set_file_threshold(static_cast<log_level>(threshold));
        std::string expected_console;
        std::string expected_file;
        for (int level = 1; level <= 6; ++level) {
            log_at(all[level - 1], "%s\n", "m");
            if (level <= threshold) {
                expected_console += console[level - 1];
                expected_file += std::string("2023-11-14T22:13:20+0000 ") + tags[level - 1] + "m\n";
            }
        }
        log_flush();
        EXPECT_EQ(session.logged(), expected_console);
        EXPECT_EQ(test::read_lines(path), expected_file);
    }
}

TEST(Levels, ErrorAndWarningWordsAreColouredAndTheTextIsNot) {
    test::log_session session;
    session.console.show_colours = true;
    log_at(log_level::error, "broken");
    log_at(log_level::warning, "odd");
    EXPECT_EQ(session.logged(), "<red>ERROR</>: broken\n<yellow>WARNING</>: odd\n");
}

TEST(LogFile, TimestampFollowsTheClockWithTheZoneOfTheStart) {
    const test::temp_dir dir;
    test::fake_console console;
    test::fake_clock clock;
    test::fake_system_errors errors;
    clock.offset = -(3 * 3600 + 30 * 60);
    log_start(console, clock, errors);
    ASSERT_EQ(open_log_file(dir.file("log").c_str()), result::success);
    set_file_threshold(log_level::info);
    log_at(log_level::info, "first");
    clock.time += 61;
    clock.offset = 0;  // a change during the run alters nothing
    log_at(log_level::info, "second");
    log_stop();
    EXPECT_EQ(test::read_lines(dir.file("log")),
              "2023-11-14T18:43:20-0330 [INFO]:    first\n2023-11-14T18:44:21-0330 [INFO]:    second\n");
}

TEST(LogFile, ZoneThatHasNoSuffixIsSaidOnceAndLeftOut) {
    const test::temp_dir dir;
    test::fake_console console;
    test::fake_clock clock;
    test::fake_system_errors errors;
    clock.offset = 360'000;
    log_start(console, clock, errors);
    ASSERT_EQ(open_log_file(dir.file("log").c_str()), result::success);
    set_file_threshold(log_level::info);
    log_at(log_level::info, "line");
    log_stop();
    EXPECT_EQ(test::read_lines(dir.file("log")), "2023-11-19T02:13:20 [INFO]:    line\n");
    EXPECT_EQ(console.text,
              "ERROR: Could not generate timezone string representation of given offset in seconds 360000.\nline\n");
}

TEST(LogFile, LongTextsAndMoreThanOneBufferArriveWhole) {
    const test::temp_dir dir;
    std::string expected;
    {
        test::log_session session(log_level::off);
        ASSERT_EQ(open_log_file(dir.file("log").c_str()), result::success);
        set_file_threshold(log_level::info);
        for (std::size_t size = 1; size < 300'000; size = size * 3 + 1) {
            const std::string text(size, 'x');
            log_at(log_level::info, "%s", text.c_str());
            expected += "2023-11-14T22:13:20+0000 [INFO]:    " + text + "\n";
        }
    }
    EXPECT_EQ(test::read_lines(dir.file("log")), expected);
}

// Another run writes to the file whenever this one may have: between any two of its lines.
TEST(LogFile, SharedWithOtherRunsHoldsWholeLines) {
    constexpr int lines = 10'000;
    const test::temp_dir dir;
    const std::string path = dir.file("log");
    file_handle other;
    ASSERT_TRUE(open_to_append(path, other));
    std::uintmax_t size = 0;
    int foreign = 0;
    const auto write_when_grown = [&] {
        if (std::filesystem::file_size(path_of(path)) != size) {
            EXPECT_TRUE(append_text(*other, "foreign\n"));
            size = std::filesystem::file_size(path_of(path));
            ++foreign;
        }
    };
    {
        test::log_session session(log_level::off);
        ASSERT_EQ(open_log_file(path.c_str()), result::success);
        set_file_threshold(log_level::info);
        for (int i = 0; i < lines; ++i) {
            log_at(log_level::info, "%s", std::string(static_cast<std::size_t>(i % 211), 'x').c_str());
            write_when_grown();
        }
        write_file(log_level::info, std::string(600'000, 'y'));
        write_when_grown();
        write_file(log_level::info, "\n");
        write_when_grown();
    }
    std::map<std::string, int> seen;
    const std::string text = test::read_lines(path);
    for (std::string_view rest = text; !rest.empty();) {
        ++seen[std::string(take_until(rest, '\n'))];
    }
    EXPECT_GT(foreign, 3);
    EXPECT_EQ(seen["foreign"], foreign);
    EXPECT_EQ(seen[std::string(600'000, 'y')], 1);
    int own = 0;
    for (std::size_t length = 0; length < 211; ++length) {
        own += seen["2023-11-14T22:13:20+0000 [INFO]:    " + std::string(length, 'x')];
    }
    EXPECT_EQ(own, lines);
    EXPECT_EQ(seen.size(), 211U + 2);
}

TEST(LogFile, ThatTakesNoMoreBytesIsSaidOnce) {
    test::log_session session;
    if (!ok(open_log_file("/dev/full"))) {
        GTEST_SKIP() << "this system has no full device";
    }
    set_file_threshold(log_level::info);
    for (int i = 0; i < 3; ++i) {
        log_at(log_level::brief, "line");
        log_flush();
    }
    EXPECT_EQ(session.logged(),
              "line\nERROR: Cannot write to the log file. Logging to file stops here.\nline\nline\n");
}

TEST(Buffers, AreWrittenWhereTheyBelong) {
    const test::temp_dir dir;
    const std::uint8_t bytes[] = {0x00, 0xAB};
    test::log_session session(log_level::trace);
    ASSERT_EQ(open_log_file(dir.file("log").c_str()), result::success);
    set_file_threshold(log_level::info);
    log_hex(log_level::info, bytes);
    log_hex(log_level::debug, bytes);
    print_hex(bytes);
    dump_titled(log_level::debug, "Title", bytes);
    log_hex(log_level::info, {});
    log_flush();
    const std::string dumped = "00000000 | 00ab" + std::string(75, ' ') + " | .." + std::string(30, ' ') + "\n";
    EXPECT_EQ(session.logged(), "00AB\nTitle:\n" + dumped +
                                    "WARNING: Could not dump buffer to log file as hex string - buffer size is 0.\n");
    EXPECT_EQ(test::read_lines(dir.file("log")).substr(0, 5), "00AB\n");
}

TEST(MissingParameter, NamesTheParameter) {
    test::log_session session;
    EXPECT_TRUE(missing_parameter(nullptr, "log_file_path"));
    EXPECT_FALSE(missing_parameter(&session, "session"));
    EXPECT_EQ(session.logged(), "ERROR: Internal parameter log_file_path is null.\n");
}

TEST(Times, LocalTimeIsShiftedAndEveryFormSaysUtc) {
    test::log_session session;
    constexpr std::int64_t time = 1'700'000'000;
    EXPECT_EQ(local_time_string(time, -(3 * 3600 + 30 * 60)), "2023-11-14 18:43:20 UTC");
    EXPECT_EQ(utc_time_string(time), "2023-11-14 22:13:20 UTC");
    EXPECT_FALSE(utc_time_string(INT64_MAX).has_value());
    EXPECT_FALSE(local_time_string(INT64_MIN, -1).has_value());
}

TEST(OsErrorText, FallsBackToTheCode) {
    test::log_session session;
    EXPECT_EQ(os_error_text(os_status(7)), "system text 7");
    EXPECT_EQ(os_error_text(os_status(0x1234)), "0x1234");
    EXPECT_EQ(session.logged(), "ERROR: FormatMessageFailed. Error code: 0x1234.\n");
}

}  // namespace
}  // namespace vellum
