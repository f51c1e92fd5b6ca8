#include "lab/inspect.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "lab/certificate_authority.h"
#include "lab/pmf_builder.h"
#include "native.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using lab::inspect_form;
using lab::inspect_kind;
using nlohmann::json;

std::string inspected(const lab::inspect_request& request, bool expected) {
    native_platform machine;
    std::string out;
    EXPECT_EQ(lab::inspect(request, machine.services(), out), expected) << out;
    return out;
}

TEST(Inspect, SaysWhatIsWrongWithASignedPmf) {
    const test::temp_dir dir;
    const lab::issued_certificate root = self_signed(lab::authority("Root", 0));
    const lab::issued_certificate stranger = self_signed(lab::authority("Stranger", 2));
    dir.write("trusted/root.crt", lab::pem(root.der));
    lab::pmf file;
    ASSERT_TRUE(sign(file, issue(lab::leaf("Signer", 1), root).key));
    file.certificate.content = stranger.der;
    file.body_header.claimed_length = 77;
    file.system_info.seal_configuration = 0x4804;
    file.header.unexamined1.fill(0xAB);
    const std::string path = dir.write("pmf", build(file));
    const json report =
        json::parse(inspected({inspect_kind::pmf, inspect_form::json, path, dir.file("trusted"), ""}, true));
    EXPECT_EQ(report["signature"]["valid"], false);
    EXPECT_EQ(report["certificate"]["self_signed"], true);
    EXPECT_EQ(report["certificate"]["certifies_header_key"], false);
    EXPECT_EQ(report["certificate"]["trusted"], false);
    EXPECT_NE(report["certificate"]["findings"], json::array());
    EXPECT_EQ(report["rules"]["strict_findings"][1], " - Reserved2 is 1");
    EXPECT_EQ(report["header"]["unexamined_1"], "ABABABAB");
    EXPECT_EQ(report["extensions"][1]["length"], 77);
    const json& options = report["extensions"][2]["seal_configuration"];
    EXPECT_EQ(options["reserved_bits"], "0x0004");
}

TEST(Inspect, SaysWhyAFileIsNotWellFormed) {
    const test::temp_dir dir;
    const std::string bad = dir.write("bad", "PGMF");
    EXPECT_EQ(inspected({inspect_kind::pmf, inspect_form::text, bad, "", ""}, false),
              "file: " + bad +
                  "\nwell formed: no\nfindings:\n  Platform Measurement File structure is invalid.\n"
                  "  PMF file length is too short. Actual (0 bytes), minimum (644 bytes).\n");
}

TEST(Inspect, Requests) {
    const struct {
        std::vector<std::string> arguments;
        bool expected;
    } rows[] = {
        {{"pmf", "f"}, true},
        {{"pmf", "f", "--json", "--trusted", "t", "--intermediate", "i"}, true},
        {{}, false},
        {{"disk", "f"}, false},
        {{"pmf", "f", "--trusted"}, false},
        {{"pmf", "f", "g"}, false},
        {{"eventlog", "f", "--trusted", "t"}, false},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments = row.arguments;
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        lab::inspect_request request;
        EXPECT_EQ(lab::parse_inspect_request(pointers, request), row.expected) << testing::PrintToString(arguments);
        EXPECT_EQ(request.trusted_dir, arguments.size() == 7 ? "t" : "");
    }
}

}  // namespace
}  // namespace vellum
