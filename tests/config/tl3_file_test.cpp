#include "config/tl3_file.h"

#include <gtest/gtest.h>

#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

const std::string header =
    "sep=,\nKVR TL3 Seal File,version,1\n"
    "Seal Date & Time,Device ID Type,Device ID,Seal Instance ID,TL3 Sign Algorithm,Seal Integrity Data\n";
const std::string row = "2026-03-01T14:05:09Z,UUID,0011,2,SHA256-NULL-ENCRYPTION,abcd";

std::string joined(const Tl3SealIdentity& seal) {
    return seal.seal_date_time + "|" + seal.device_id_type + "|" + seal.device_id + "|" + seal.seal_instance_id +
           "|" + seal.signing_algorithm + "|" + seal.seal_integrity_data;
}

std::string with_carriage_returns(std::string text) {
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, 1, '\r');
    }
    return text;
}

TEST(Tl3File, ScansHeaderAndFirstRow) {
    const std::string plain = "2026-03-01T14:05:09Z|UUID|0011|2|SHA256-NULL-ENCRYPTION|abcd";
    const struct {
        const char* name;
        std::string text;
        std::string seal;  // empty: refused
    } rows[] = {
        {"Plain", header + row + "\n", plain},
        {"EndsWithoutLineEnd", header + row, plain},
        {"CarriageReturns", with_carriage_returns(header + row + "\n" + row + "\n"), plain},
        {"ExtraColumnsAndLines", header + row + ",more,,\nrest\n", plain},
        {"BlankLinesBetween", "sep=,\n\n \t\n" + header.substr(6) + "\n  " + row, plain},
        {"FieldAcrossLines", header + "a,b,c\nd,e,f,g\n", "a|b|c\nd|e|f|g"},
        {"EmptyField", header + "a,b,,d,e,f\n", ""},
        {"EmptyLastField", header + "a,b,c,d,e,\n", ""},
        {"FiveFields", header + "a,b,c,d,e\n", ""},
        {"NoRow", header, ""},
        {"ZeroByte", header + std::string("a,b\0x,c,d,e,f", 13), ""},
        {"BlankAfterHeaderLine", "sep=, \n" + header.substr(6) + row, ""},
        {"BlankBeforeHeaderLine", " " + header + row, ""},
        {"MoreThanIsLookedAt", header + row + "\n" + std::string(2 * 1024 * 1024, 'x'), plain},
        {"FirstLineWithoutEnd", std::string(2 * 1024 * 1024, 'x'), ""},
        {"RowAcrossTheEndOfWhatIsLookedAt",
         header + std::string(65536 - 2 - header.size() - row.size(), '\n') + row + "efgh\n", ""},
        {"RowAtTheEndOfTheFileAndOfWhatIsLookedAt",
         header + std::string(65536 - header.size() - row.size(), '\n') + row, plain},
        {"RowJustBeforeIt", header + std::string(65536 - 1 - header.size() - row.size(), '\n') + row + "\n", plain},
    };
    test::log_session session;
    const test::temp_dir dir;
    for (const auto& each : rows) {
        const std::string path = dir.write("seal.csv", each.text);
        Tl3SealIdentity seal;
        const result read = read_tl3_identity_file(path, seal);
        const bool refused = each.seal.empty();
        EXPECT_EQ(read, refused ? result::check_failed : result::success) << each.name;
        EXPECT_EQ(joined(seal), refused ? "|||||" : each.seal) << each.name;
        EXPECT_EQ(session.pushed(),
                  refused ? "TL3SealIdentityVerificationFile \"" + path + "\" has invalid syntax.\n" : "")
            << each.name;
    }
}

TEST(Tl3File, EveryFieldHasItsLongestText) {
    test::log_session session(log_level::off);
    const test::temp_dir dir;
    const std::size_t longest[] = {31, 63, 130, 15, 63, 64};
    for (std::size_t tried = 0; tried <= std::size(longest); ++tried) {
        std::string text = header;
        for (std::size_t i = 0; i < std::size(longest); ++i) {
            text += std::string(longest[i] + (i == tried ? 1 : 0), 'x') + (i + 1 < std::size(longest) ? "," : "\n");
        }
        Tl3SealIdentity seal;
        EXPECT_EQ(ok(read_tl3_identity_file(dir.write("seal.csv", text), seal)), tried == std::size(longest))
            << tried;
    }
}

}  // namespace
}  // namespace vellum
