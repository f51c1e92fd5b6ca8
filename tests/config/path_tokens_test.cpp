#include "config/path_tokens.h"

#include <gtest/gtest.h>

#include "tests/support/log_session.h"

namespace vellum {
namespace {

const platform_identity identity = {
    {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}, "SN 12/3"};
const std::string too_long = "Translated file path is too long. Maximum length of translated path is 259.\n";

struct translation {
    std::string path;
    const char* external;  // null: not given
    result expected;
    std::string out;
    std::string pushed;
};

const translation translations[] = {
    {"", nullptr, result::success, "", ""},
    {"a:b\\c", nullptr, result::success, "a:b\\c", ""},
    {"/x/::OEM_DEFINED_LITERAL::::OEM_DEFINED_LITERAL::.csv", "L-1", result::success, "/x/L-1L-1.csv", ""},
    {"::OEM_DEFINED_BLOB::.csv", "0xab", result::success, "0xAB.csv", ""},
    {"::UUID::::uuid::", nullptr, result::invalid, "",
     "Unclosed or invalid token occurred on position 8 opened with double-colon delimiter (::).\n"},
    {"::OEM_DEFINED_BLOB::", "", result::invalid, "",
     "OEM_DEFINED_BLOB token was found, but provided value is empty. Use --external_device_id flag to provide "
     "value.\n"},
    {std::string(256, 'p'), nullptr, result::success, std::string(256, 'p'), ""},
    {std::string(257, 'p'), nullptr, result::invalid, "",
     "File path is too long. Maximum length of path with tokens is 256.\n"},
    {std::string(223, 'p') + "::UUID::", nullptr, result::success,
     std::string(223, 'p') + "00112233-4455-6677-8899-AABBCCDDEEFF", ""},
    {std::string(224, 'p') + "::UUID::", nullptr, result::invalid, "", too_long},
};

TEST(PathTokens, AreReplacedByThisMachinesIds) {
    test::log_session session;
    for (const translation& row : translations) {
        const std::string external = row.external == nullptr ? "" : row.external;
        std::string out = "old";
        EXPECT_EQ(translate_path_tokens(row.path, &identity, row.external == nullptr ? nullptr : &external, out),
                  row.expected)
            << row.path;
        EXPECT_EQ(out, row.out) << row.path;
        EXPECT_EQ(session.pushed(), row.pushed) << row.path;
        EXPECT_EQ(session.logged(), "") << row.path;
    }
}

TEST(PathTokens, APlatformWithoutTheValueIsSaid) {
    test::log_session session;
    std::string out;
    EXPECT_EQ(translate_path_tokens("::SERIAL_NUMBER::", nullptr, nullptr, out), result::invalid);
    EXPECT_EQ(session.pushed(),
              "SERIAL_NUMBER token was found, but the SMBIOS information of this platform is not available.\n");
    const platform_identity silent;
    EXPECT_EQ(translate_path_tokens("::SERIAL_NUMBER::", &silent, nullptr, out), result::invalid);
    EXPECT_NE(session.pushed().find("has no value for it."), std::string::npos);
    const platform_identity talkative = {{}, std::string(131, 'A')};
    EXPECT_EQ(translate_path_tokens("::SERIAL_NUMBER::", &talkative, nullptr, out), result::internal_failure);
    EXPECT_EQ(session.pushed(), "Error occurred while trying to copy value retrieved from token SERIAL_NUMBER.\n");
}

TEST(PathTokens, AskForThePlatformOnlyWhereATokenDoes) {
    EXPECT_TRUE(needs_platform_identity("a::UUID::"));
    EXPECT_TRUE(needs_platform_identity("::OEM_DEFINED_BLOB::-::SERIAL_NUMBER::"));
    for (const char* path : {"", "UUID", "::UUID", "::OEM_DEFINED_LITERAL::UUID::", "C:\\a.csv"}) {
        EXPECT_FALSE(needs_platform_identity(path)) << path;
    }
}

}  // namespace
}  // namespace vellum
