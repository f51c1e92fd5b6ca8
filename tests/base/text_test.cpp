#include "base/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vellum {
namespace {

constexpr std::uint8_t guid[] = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                                 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

TEST(Text, ShowsBytesAndGuids) {
    EXPECT_EQ(upper_hex(std::span(guid).subspan(2, 4)), "11005544");
    EXPECT_EQ(lower_hex(std::span(guid).subspan(10, 2)), "aabb");
    EXPECT_EQ(guid_text(guid), "00112233-4455-6677-8899-AABBCCDDEEFF");
}

TEST(Times, DaysThatTheCalendarLacksHaveNoSeconds) {
    EXPECT_EQ(utc_seconds_of_day(1970, 1, 2), 86400);
    EXPECT_EQ(utc_seconds_of_day(2024, 2, 29), 1709164800);
    EXPECT_EQ(utc_seconds_of_day(1900, 1, 1), -2208988800);
    EXPECT_FALSE(utc_seconds_of_day(2025, 2, 29));
    EXPECT_FALSE(utc_seconds_of_day(2025, 13, 1));
    EXPECT_FALSE(utc_seconds_of_day(2025, 1, 0));
}

TEST(ShownText, KeepsCharactersAndMarksWhatDisturbsAReport) {
    using namespace std::string_literals;
    const struct {
        std::string text;
        const char* shown;
    } rows[] = {
        {"", ""},
        {" a~ \xC3\xA9\xE4\xB8\xAD\xF0\x9F\x94\x92", " a~ \xC3\xA9\xE4\xB8\xAD\xF0\x9F\x94\x92"},
        {"\0\t\r\n\x1B\x1F\x7F"s, "???????"},
        {"\xC2\x80\xC2\x9B\xC2\x9F\xC2\xA0", "???\xC2\xA0"},
        {"\xD8\x9B\xD8\x9C\xD8\x9D", "\xD8\x9B?\xD8\x9D"},
        {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90", "\xE2\x80\x8D??\xE2\x80\x90"},
        {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xAE\xE2\x80\xAF", "\xE2\x80\xA7??\xE2\x80\xAF"},
        {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA", "\xE2\x81\xA5??\xE2\x81\xAA"},
        {"\x80z\x9B\xBFz\xFE\xFF", "?z??z??"},                           // no lead
        {"\xC3z\xE4\xB8z\xF0\x9F\x94", "?z??z???"},                      // cut short
        {"\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "?????????"},           // longer than need be
        {"\xED\x9F\xBF\xED\xA0\x80\xED\xBF\xBF", "\xED\x9F\xBF??????"},  // surrogates
        {"\xF4\x8F\xBF\xBF\xF4\x90\x80\x80", "\xF4\x8F\xBF\xBF????"},    // behind the last character
        {"\xF8\x88\x80\x80\x80", "?????"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(shown_text(row.text), row.shown) << testing::PrintToString(row.text);
    }
}

TEST(FieldText, EndsAtTheFirstZeroAndIsNotCleaned) {
    EXPECT_EQ(field_text(as_bytes(std::string_view("a\n\0b", 4))), "a\n");
    EXPECT_EQ(field_text(as_bytes("ab")), "ab");
}

TEST(Utf16, EndsAtTheZeroUnitOrTheLimitAndMarksWhatIsNotPrintableAscii) {
    EXPECT_EQ(utf16_text(as_bytes(std::string_view("\x1F\0 \0~\0\x7F\0", 8)), 36), "? ~?");
    EXPECT_EQ(utf16_text(as_bytes(std::string_view("E\0F\0\xE9\0\0\0X\0", 10)), 36), "EF?");
    EXPECT_EQ(utf16_text(as_bytes(std::string_view("E\0F\0I\0", 6)), 2), "EF");
    EXPECT_EQ(utf16_text(as_bytes(std::string_view("E\0F", 3)), 36), "E");
}

TEST(TimezoneSuffix, ShowsSignHoursAndMinutes) {
    struct {
        std::int32_t offset;
        const char* text;
    } const rows[] = {{0, "+0000"},  {3600, "+0100"},    {-12600, "-0330"},   {20700, "+0545"},  {-1800, "-0030"},
                      {-1, "-0000"}, {359'999, "+9959"}, {-359'999, "-9959"}, {360'000, "none"}, {INT32_MIN, "none"}};
    for (const auto& row : rows) {
        EXPECT_EQ(timezone_suffix(row.offset).value_or("none"), row.text);
    }
}

std::vector<std::string> dump(byte_view data, std::size_t bytes_per_line, std::size_t indent) {
    std::vector<std::string> lines;
    hex_dump(data, bytes_per_line, indent, [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

TEST(HexDump, PairsBytesAndPadsTheLastLine) {
    const std::vector<std::string> lines = dump(as_bytes("Vellum\n~ \x7f!"), 8, 2);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "  00000000 | 5665 6c6c 756d 0a7e | Vellum.~");
    EXPECT_EQ(lines[1], "  00000008 | 207f 21             |  .!     ");
    EXPECT_TRUE(dump(guid, 7, 0).empty());
    EXPECT_TRUE(dump(guid, 0, 0).empty());
    EXPECT_TRUE(dump({}, 8, 0).empty());
}

TEST(ParseDecimal, TakesWholeUnsignedNumbersOnly) {
    EXPECT_EQ(parse_decimal("18446744073709551615"), UINT64_MAX);
    for (const char* text : {"", "+1", "-1", " 1", "1 ", "0x1", "18446744073709551616"}) {
        EXPECT_FALSE(parse_decimal(text).has_value()) << text;
    }
}

}  // namespace
}  // namespace vellum
