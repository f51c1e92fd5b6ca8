#include "lab/inspect.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "lab/certificate_authority.h"
#include "lab/event_log_builder.h"
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

TEST(Inspect, PmfWithATrustedCertificate) {
    const test::temp_dir dir;
    const lab::issued_certificate root = self_signed(lab::authority("Root", 0));
    const lab::issued_certificate signer = issue(lab::leaf("Signer", 1), root);
    const lab::issued_certificate stranger = self_signed(lab::authority("Stranger", 2));
    dir.write("trusted/root.crt", lab::pem(root.der)), dir.write("other/stranger.crt", lab::pem(stranger.der));
    lab::pmf file;
    file.certificate.content = signer.der;
    file.system_info.seal_configuration |= 4;
    ASSERT_TRUE(sign(file, signer.key));
    const std::string path = dir.write("pmf", build(file));

    json report =
        json::parse(inspected({inspect_kind::pmf, inspect_form::json, path, dir.file("trusted"), ""}, true));
    EXPECT_EQ(report["signature"]["valid"], true);
    EXPECT_EQ(report["signature"]["findings"], json::array());
    EXPECT_EQ(report["certificate"]["subject"], "CN = Signer");
    EXPECT_EQ(report["certificate"]["issuer"], "CN = Root");
    EXPECT_EQ(report["certificate"]["valid_to"], "2099-12-31 23:59:59 UTC");
    EXPECT_EQ(report["certificate"]["certifies_header_key"], true);
    EXPECT_EQ(report["certificate"]["self_signed"], false);
    EXPECT_EQ(report["certificate"]["trusted"], true);
    EXPECT_EQ(report["rules"]["strict_rules_hold"], false);
    EXPECT_EQ(report["rules"]["strict_findings"][1], " - Reserved2 is 1");
    EXPECT_EQ(report["extensions"].size(), 6U);
    EXPECT_EQ(report["extensions"][2]["os_build"], "10.0.19045");
    EXPECT_EQ(report["extensions"][3]["entries"][1]["name"], "Basic data partition");
    EXPECT_EQ(report["extensions"][4]["entries"][3]["pcr"], 7);
    EXPECT_EQ(report["extensions"][5]["manifest_type"], 3);

    // Another signer's certificate, an authority that does not know it, and one changed byte.
    file.certificate.content = stranger.der;
    file.header.signature[0] ^= 1;
    dir.write("pmf", build(file));
    report = json::parse(inspected({inspect_kind::pmf, inspect_form::json, path, dir.file("trusted"), ""}, true));
    EXPECT_EQ(report["signature"]["valid"], false);
    EXPECT_EQ(report["certificate"]["self_signed"], true);
    EXPECT_EQ(report["certificate"]["certifies_header_key"], false);
    EXPECT_EQ(report["certificate"]["trusted"], false);
    EXPECT_NE(report["certificate"]["findings"], json::array());
}

TEST(Inspect, TextNamesTheFields) {
    const test::temp_dir dir;
    const std::string path = dir.write("pmf", build(lab::pmf()));
    const std::string text = inspected({inspect_kind::pmf, inspect_form::text, path, "", ""}, true);
    for (const char* line :
         {"well formed: yes\n", "\nsignature:\n  valid: no\n", "\ncertificate:\n  carried: no\n",
          "\n  strict findings: none\n", "\n  expire date: 2099-12-31\n",
          "\n  [2]\n    type: PMF::SystemInfoExtension (256)\n    size: 218\n    product name: Sample Product\n",
          "\n        measurement text: C:\\bom\\system.bom\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "is not in\n" << text;
    }
}

TEST(Inspect, EventLogInLogOrder) {
    const test::temp_dir dir;
    lab::event_log log;
    log.events = {lab::separator(5), lab::startup_locality(3), lab::text_event(4, 5, "text")};
    const std::string path = dir.write("log", build(log));
    const json report = json::parse(inspected({inspect_kind::event_log, inspect_form::json, path, "", ""}, true));
    EXPECT_EQ(report["startup_locality"], 3);
    EXPECT_EQ(report["pcrs"].size(), 24U);
    ASSERT_EQ(report["events"].size(), 3U);
    EXPECT_EQ(report["events"][0]["type"], "EV_SEPARATOR");
    EXPECT_EQ(report["events"][0]["pcr_value"], report["pcrs"][5]["value"]);
    EXPECT_EQ(report["events"][0].contains("text"), false);
    EXPECT_EQ(report["events"][2]["pcr"], 4);
    EXPECT_EQ(report["events"][2]["text"], "text");
}

TEST(Inspect, SaysWhyAFileIsNotWellFormed) {
    const test::temp_dir dir;
    const std::string bad = dir.write("bad", "PGMF");
    EXPECT_EQ(inspected({inspect_kind::pmf, inspect_form::text, bad, "", ""}, false),
              "file: " + bad +
                  "\nwell formed: no\nfindings:\n  Platform Measurement File structure is invalid.\n"
                  "  PMF file length is too short. Actual (0 bytes), minimum (644 bytes).\n");
    const json report = json::parse(inspected({inspect_kind::event_log, inspect_form::json, bad, "", ""}, false));
    EXPECT_NE(report["findings"], json::array());
}

TEST(Inspect, Requests) {
    const struct {
        std::vector<std::string> arguments;
        bool expected;
    } rows[] = {
        {{"pmf", "f"}, true},
        {{"eventlog", "f", "--json"}, true},
        {{"pmf", "f", "--json", "--trusted", "t", "--intermediate", "i"}, true},
        {{}, false},
        {{"pmf"}, false},
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
