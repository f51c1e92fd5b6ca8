#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "platform/linux/clock.h"

namespace vellum {
namespace {

// The process's time zone, as POSIX writes it, for as long as this lives.
struct local_zone {
    explicit local_zone(const char* zone) {
        if (const char* set = std::getenv("TZ")) {
            before = set;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~local_zone() {
        if (before) {
            ::setenv("TZ", before->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }
    local_zone(const local_zone&) = delete;
    local_zone& operator=(const local_zone&) = delete;

    std::optional<std::string> before;
};

// Central Europe: summer from 2026-03-29 to 2026-10-25.
constexpr const char* europe = "CET-1CEST,M3.5.0,M10.5.0/3";
// Set forward at midnight of 2026-10-18 and back at that of 2026-02-15, which so begins an hour late.
constexpr const char* at_midnight = "<-03>3<-02>,M10.3.0/0,M2.3.0/0";

TEST(LinuxClock, EndsADayByTheRulesOfThatDay) {
    const struct {
        const char* zone;
        calendar_day day;
        std::int64_t end;  // in UTC
    } rows[] = {
        {europe, {2026, 1, 15}, 1768517999},        // 22:59:59
        {europe, {2026, 7, 15}, 1784152799},        // 21:59:59
        {europe, {2026, 3, 28}, 1774738799},        // 22:59:59
        {europe, {2026, 3, 29}, 1774821599},        // 21:59:59
        {europe, {2026, 10, 24}, 1792879199},       // 21:59:59
        {europe, {2026, 10, 25}, 1792969199},       // 22:59:59
        {europe, {1969, 12, 31}, -3601},            // 22:59:59
        {at_midnight, {2026, 10, 17}, 1792292399},  // 02:59:59 of the next day
        {at_midnight, {2026, 10, 18}, 1792375199},  // 01:59:59 of the next day
        {at_midnight, {2026, 2, 13}, 1771034399},   // 01:59:59 of the next day
        {at_midnight, {2026, 2, 14}, 1771124399},   // 02:59:59 of the next day, the second time
        {"UTC0", {1969, 12, 31}, -1},
    };
    linux_clock clock;
    for (const auto& row : rows) {
        const local_zone zone(row.zone);
        EXPECT_EQ(clock.end_of_day(row.day), row.end)
            << row.zone << ' ' << row.day.year << '-' << row.day.month << '-' << row.day.day;
    }
}

}  // namespace
}  // namespace vellum
