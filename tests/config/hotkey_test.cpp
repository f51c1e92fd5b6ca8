#include "config/hotkey.h"

#include <gtest/gtest.h>

#include "base/text.h"

namespace vellum {
namespace {

std::string parsed(std::string_view text) {
    const auto encoded = parse_hotkey_sequence(text);
    return encoded ? upper_hex(*encoded) : "refused";
}

TEST(Hotkey, EncodesKeystrokes) {
    const struct {
        const char* text;
        const char* hex;
        const char* printed;
    } rows[] = {
        {"CTRL+ALT+F1", "0B00000028000080C0", "CTRL+ALT+F1"},
        {"SHIFT+a", "0000410000000080C0", "A"},
        {"SHIFT+Z", "00005A0000000080C0", "Z"},
        {"a, b", "0000610000000080C00000620000000080C0", "a,b"},
        {"SHIFT+CTRL+1", "0000210008000080C0", "CTRL+!"},
        {"SHIFT+\\", "00007C0000000080C0", "|"},
        {"SHIFT+?", "00003F0002000080C0", "SHIFT+?"},
        {"7", "0000370000000080C0", "7"},
        {"SHIFT+COMMA", "00002C0002000080C0", "SHIFT+COMMA"},
        {"S P A C E", "0000200000000080C0", "SPACE"},
        {"BACKSPACE,TAB,ENTER", "0000080000000080C00000090000000080C000000D0000000080C0", "BACKSPACE,TAB,ENTER"},
        {"SHIFT+CTRL+ALT+LOGO+MENU+SYS_RQ+ESC", "17000000AA030080C0", "CTRL+ALT+LOGO+MENU+SYS_RQ+SHIFT+ESC"},
        {"NULL", "0000000000000080C0", "NULL"},
        {"PG_DN\t,\nF12", "0A00000000000080C01600000000000080C0", "PG_DN,F12"},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(parsed(row.text), row.hex) << row.text;
        EXPECT_EQ(print_hotkey_sequence(*parse_hotkey_sequence(row.text)), row.printed) << row.text;
        EXPECT_EQ(parsed(row.printed), row.hex) << row.text;
    }
}

TEST(Hotkey, RefusesBadSyntax) {
    for (const char* text :
         {"",        " ",       ",",           "a,",    ",a",
          "a,,b",    "+",       "CTRL",        "CTRL+", "+a",
          "CTRL++a", "F1+CTRL", "CTRL+CTRL+A", "A+B",   "F1+F2",
          "F1+a",    "a+SPACE", "ctrl+a",      "f1",    "F13",
          "space",   "\x01",    "\xE4",        "ab",    "SHIFT+CTRL+ALT+LOGO+MENU+SYS_RQ+SHIFT+a"}) {
        EXPECT_EQ(parsed(text), "refused") << text;
    }
}

TEST(Hotkey, LeavesTheFirmwaresLimitToTheCallerUpTo56Keystrokes) {
    std::string text = "a";
    for (int i = 1; i < 56; ++i) {
        text += ",a";
    }
    EXPECT_EQ(parse_hotkey_sequence(text)->size(), 56 * key_record_size);
    EXPECT_FALSE(parse_hotkey_sequence(text + ",a"));
}

TEST(Hotkey, PrintsEitherHandAndRefusesWhatHasNoText) {
    using record = std::vector<std::uint8_t>;
    const struct {
        const char* name;
        record bytes;
        std::optional<std::string> text;
    } rows[] = {
        {"RightHand", {0x01, 0, 0, 0, 0x55, 0, 0, 0x80, 0xC0}, "CTRL+ALT+LOGO+SHIFT+UP"},
        {"Empty", {}, std::nullopt},
        {"TrailingByte", record(10), std::nullopt},
        {"SevenRecords", record(63), "NULL,NULL,NULL,NULL,NULL,NULL,NULL"},
        {"EightRecords", record(72), std::nullopt},
        {"UnknownScanCode", {24, 0, 0, 0, 0, 0, 0, 0x80, 0xC0}, std::nullopt},
        {"WideScanCode", {1, 1, 0, 0, 0, 0, 0, 0x80, 0xC0}, std::nullopt},
        {"ScanCodeAndCharacter", {1, 0, 'a', 0, 0, 0, 0, 0x80, 0xC0}, std::nullopt},
        {"ControlCharacter", {0, 0, 0x1B, 0, 0, 0, 0, 0x80, 0xC0}, std::nullopt},
        {"Delete", {0, 0, 0x7F, 0, 0, 0, 0, 0x80, 0xC0}, std::nullopt},
        {"WideCharacter", {0, 0, 'a', 1, 0, 0, 0, 0x80, 0xC0}, std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(print_hotkey_sequence(row.bytes), row.text) << row.name;
    }
}

}  // namespace
}  // namespace vellum
