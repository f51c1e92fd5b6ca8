// Lines that are laid out for a terminal: cut at its width, never elsewhere, and counted in what they take there.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/terminal.h"

namespace vellum::lab {
namespace {

TEST(Terminal, CutsALineAtItsWidthOnly) {
    const struct {
        const char* name;
        page_style style;
        std::string_view line;
        std::string_view shown;
    } rows[] = {
        {"no terminal", {0, false}, "abcdef", "abcdef\n"},
        {"fits", {6, false}, "abcdef", "abcdef\n"},
        {"one too long", {5, false}, "abcdef", "abcd\xE2\x80\xA6\n"},
        {"one column", {1, false}, "ab", "\xE2\x80\xA6\n"},
        {"accents", {4, false}, "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F", "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\n"},
        {"accents, one too long", {3, false}, "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F", "\xC3\xA4\xC3\xB6\xE2\x80\xA6\n"},
        {"wide", {4, false}, "\xE6\xA9\x9F\xE6\xA9\x9F\xE6\xA9\x9F", "\xE6\xA9\x9F\xE2\x80\xA6\n"},
        {"mark on a letter", {2, false}, "ae\xCC\x81", "ae\xCC\x81\n"},
        {"colours take no room", {3, true}, "\x1b[31mabc\x1b[0m", "\x1b[31mabc\x1b[0m\n"},
        {"cut in a colour", {3, true}, "\x1b[31mabcd\x1b[0m", "\x1b[31mab\xE2\x80\xA6\x1b[0m\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string shown;
        append_line(shown, row.line, row.style);
        EXPECT_EQ(shown, row.shown);
    }
}

TEST(Terminal, PaintsAndPadsByColumns) {
    std::string text = "|";
    paint(text, "\xC3\xA4", ink::green, {0, true});
    pad(text, 1, 3);
    paint(text, "b", ink::red, {0, false});
    EXPECT_EQ(text, "|\x1b[32m\xC3\xA4\x1b[0m  b");
}

// Whole lines, in pieces far fewer than they are, and none once nobody reads on.
TEST(Terminal, HandsOnLargePiecesUntilNobodyReads) {
    std::vector<std::string> pieces;
    page_writer page(
        [&](std::string_view piece) {
            pieces.emplace_back(piece);
            return pieces.size() < 2;
        },
        {});
    const std::string line(99, 'x');
    for (int i = 0; i < 10'000; ++i) {
        page.line(line);
    }
    page.flush();
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_FALSE(page.is_read());
    for (const std::string& piece : pieces) {
        EXPECT_EQ(piece.size() % 100, 0U);
        EXPECT_EQ(piece.back(), '\n');
    }
}

}  // namespace
}  // namespace vellum::lab
