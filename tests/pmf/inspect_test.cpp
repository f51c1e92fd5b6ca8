// What vellum-lab says of a PMF: the verdict, each reason for it, and that no damage goes unsaid. And which requests
// it takes.
#include "lab/inspect.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "lab/firmware_builder.h"
#include "lab/pmf_builder.h"
#include "lab/sample_certificates.h"
#include "native.h"
#include "tests/support/inspection.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using lab::inspect_extent;
using lab::inspect_form;
using lab::inspect_outcome;
using test::describe;
using bytes = std::vector<std::uint8_t>;
using test::codes;
using test::inspect;

// PMFs ------------------------------------------------------------------------------------------------------------

// A PMF that is fit, as it lies in a file, and the authorities that its certificate leads to.
struct scene {
    lab::pmf file;
    lab::certificate_plan certificate = lab::sample_manufacturer_plan();
    std::string trusted = lab::pem(lab::sample_root().der);
    std::function<bytes(bytes)> since;  // happened since it was signed
    std::function<void(lab::inspect_request&)> asked;
    std::optional<std::string> configuration;

    scene() {
        file.header.expire_date = 0x20901231;
        for (const std::uint16_t pcr : std::to_array<std::uint16_t>({4, 11})) {
            file.pcrs.entries.push_back(lab::pcr_entry(pcr, {}));
        }
    }
};

bytes signed_file(const scene& scene) {
    lab::pmf file = scene.file;
    if (file.certificate.content.empty()) {
        file.certificate.content = lab::sample_manufacturer(scene.certificate).der;
    }
    EXPECT_TRUE(sign(file, scene.certificate.key));
    return scene.since ? scene.since(build(file)) : build(file);
}

lab::inspect_request request_for(const scene& scene, const test::temp_dir& dir) {
    dir.write("trusted/root.crt", scene.trusted);
    dir.write("intermediate/line.crt", lab::pem(lab::sample_intermediate().der));
    lab::inspect_request request;
    request.path = dir.write("pmf", signed_file(scene));
    request.trusted_dir = dir.file("trusted");
    request.intermediate_dir = dir.file("intermediate");
    request.day = calendar_day{2026, 6, 15};
    if (scene.asked) {
        scene.asked(request);
    }
    if (scene.configuration) {
        request.config_file = dir.write("kxl.ini", *scene.configuration);
    }
    return request;
}

// Complete, and without a demand that a PMF be signed.
constexpr const char* unsigned_configuration =
    "[Expected Norvane KVR Feature configuration]\nIronwallEnabled=1\n"
    "[Expected Device Identification]\nDeviceIdSource=UUID\n"
    "[Expected Seal Configuration]\nBIOSLockEnabled=1\nChassisIntrusionEnabled=1\nCustomOptOutEnabled=0\n"
    "PMFSigningEnabled=0\nSEDLockEnabled=1\nSealSigningEnabled=1\n"
    "[Seal Signature Validation]\nExpectedSealSigningAlgorithm=SHA256-RSA-2048-PKCS1\n";

void name_no_authority(lab::inspect_request& request) {
    request.trusted_dir.reset();
    request.intermediate_dir.reset();
}

constexpr std::size_t pmf_signature_offset =
    pmf_marker_size + pmf_header_size - sizeof(PMF::ManifestHeader::signature);

bytes without_signature(bytes file) {
    for (std::size_t i = 0; i < sizeof(PMF::ManifestHeader::signature); ++i) {
        file.at(pmf_signature_offset + i) = 0;
    }
    return file;
}

bytes with_another_key_hash(bytes file) {
    file.at(file.size() - 60) ^= 1;
    return file;
}

struct verdict_row {
    const char* name;
    std::function<void(scene&)> change;
    codes reasons;
    codes cautions = {};
    const char* chain = "trusted";
};

const verdict_row verdict_rows[] = {
    {"as it left the factory", [](scene&) {}, {}},
    {"on its last day", [](scene& s) { s.asked = [](auto& r) {
                                           r.day = calendar_day{2090, 12, 31};
                                       }; }, {}},
    {"a day later", [](scene& s) { s.asked = [](auto& r) {
                                       r.day = calendar_day{2091, 1, 1};
                                   }; }, {"expired"}},
    {"pseudo-signed", [](scene& s) { s.file.header.flags = 0x80000000; }, {"pseudo-signed"}},
    {"unsigned", [](scene& s) { s.since = without_signature; }, {"unsigned"}},
    {"changed since", [](scene& s) { s.since = with_another_key_hash; }, {"invalid-signature"}},
    {"without authorities", [](scene& s) { s.asked = name_no_authority; }, {"chain-unjudged"}, {}, "unjudged"},
    {"another's authority",
     [](scene& s) { s.trusted = lab::pem(lab::sample_intermediate().der).substr(0, 60); },
     {"untrusted"},
     {},
     "untrusted"},
    {"the authority between is missing",
     [](scene& s) { s.asked = [](auto& r) { r.intermediate_dir.reset(); }; },
     {"untrusted"},
     {},
     "untrusted"},
    {"certificate expires first",
     [](scene& s) { s.certificate.not_after = 3'786'912'000; },  // 2090-01-01
     {"certificate-expires-first"}},
    {"certificate has expired",
     [](scene& s) { s.certificate.not_after = 1'767'225'599; },
     {"certificate-dates", "untrusted", "certificate-expires-first"},
     {},
     "untrusted"},
    {"certificate of another key",
     [](scene& s) { s.file.certificate.content = lab::sample_root().der; },
     {"foreign-certificate"}},
    {"no certificate",
     [](scene& s) { s.file.certificate.content = {1}; },
     {"unreadable-certificate"},
     {},
     "no certificate"},
    {"reserved bits", [](scene& s) { s.file.system_info.seal_configuration = 0x4804; }, {"strict-rules"}},
    {"mandatory PCR missing",
     [](scene& s) { s.file.pcrs.entries.erase(s.file.pcrs.entries.begin()); },
     {"mandatory-pcrs"}},
    {"telling PCRs missing",
     [](scene& s) { s.file.pcrs.entries.resize(3); },
     {},
     {"pcr-not-listed", "pcr-not-listed", "pcr-not-listed"}},
    {"PCR 5 listed",
     [](scene& s) { s.file.pcrs.entries.push_back(lab::pcr_entry(5, {})); },
     {"seal-log-pcr"},
     {"pcr-list"}},
    {"PCR listed twice",
     [](scene& s) { s.file.pcrs.entries.push_back(s.file.pcrs.entries.back()); },
     {},
     {"pcr-list"}},
    {"signing not demanded",
     [](scene& s) {
         s.configuration = unsigned_configuration;
         s.asked = name_no_authority;
     },
     {},
     {"signer"},
     "not demanded"},
    {"everything at once",
     [](scene& s) {
         s.file.header.flags = 0x80000000;
         s.file.header.expire_date = 0x20260614;
         s.asked = name_no_authority;
         s.since = without_signature;
     },
     {"expired", "unsigned", "pseudo-signed", "chain-unjudged"},
     {},
     "unjudged"},
};

TEST(Inspect, SaysWhetherAPmfIsFitAndWhyNot) {
    for (const verdict_row& row : verdict_rows) {
        SCOPED_TRACE(row.name);
        const test::temp_dir dir;
        scene scene;
        row.change(scene);
        const lab::inspect_request request = request_for(scene, dir);
        const bool fit = row.reasons.empty();
        const test::description said = describe(request, fit ? inspect_outcome::good : inspect_outcome::bad);
        EXPECT_EQ(said.at("/verdict"), fit ? "fit" : "not fit");
        EXPECT_EQ(said.codes_of("/reasons"), row.reasons) << said.at("/reasons");
        EXPECT_EQ(said.codes_of("/cautions"), row.cautions) << said.at("/cautions");
        EXPECT_EQ(said.at("/chain"), row.chain);
        EXPECT_EQ(said.at("/schema_version"), "1");
    }
}

TEST(Inspect, TakesAPmfOutOfAResponse) {
    const test::temp_dir dir;
    const scene scene;
    lab::inspect_request request = request_for(scene, dir);
    EXPECT_EQ(describe(request, inspect_outcome::good).at("/container"), "bare file");
    lab::file_builder response;
    response.file = signed_file(scene);
    request.path = dir.write("response", build(response));
    EXPECT_EQ(describe(request, inspect_outcome::good).at("/container"), "firmware response");

    const std::map<const char*, std::function<void(lab::file_builder&)>> refusals = {
        {"The firmware answered with the error", [](lab::file_builder& r) { r.header.status = 2; }},
        {"It is the response to another command (7).", [](lab::file_builder& r) { r.header.command = 7; }},
        {"", [](lab::file_builder& r) { r.file_length = static_cast<std::uint16_t>(r.file.size() + 1); }},
        {"Invalid Partition Marker", [](lab::file_builder& r) { r.file[0] = 'X'; }},
    };
    for (const auto& [why, change] : refusals) {
        lab::file_builder refused = response;
        change(refused);
        request.path = dir.write("refused", build(refused));
        const test::description said = describe(request, inspect_outcome::unreadable);
        EXPECT_EQ(said.at("/verdict"), "no PMF");
        ASSERT_EQ(said.size("/reasons/0/details"), 1U);
        EXPECT_NE(said.at("/reasons/0/details/0").find(why), std::string::npos);
    }
}

// A cut bare file has a marker from its fourth byte on; that of a response is never reached.
TEST(Inspect, FindsNoCutPmfFit) {
    const test::temp_dir dir;
    const scene scene;
    lab::inspect_request request = request_for(scene, dir);
    lab::file_builder response;
    response.file = signed_file(scene);
    for (const bytes& whole : {response.file, build(response)}) {
        const bool bare = whole == response.file;
        request.path = dir.write("cut", whole);
        test::inspect_each_cut(request, [bare](std::size_t size, inspect_outcome outcome) {
            EXPECT_EQ(outcome, bare && size >= 4 ? inspect_outcome::bad : inspect_outcome::unreadable) << size;
        });
    }
}

TEST(Inspect, FitsAPageAndCutsLongValues) {
    const test::temp_dir dir;
    lab::inspect_request request = request_for(scene(), dir);
    std::map<inspect_extent, std::string> pages;
    for (const inspect_extent extent : {inspect_extent::usual, inspect_extent::everything}) {
        request.extent = extent;
        std::string& page = pages[extent] = inspect(request).text;
        page.erase(0, page.find('\n'));  // the path
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = page.find('\n', begin)) != std::string::npos; begin = end + 1) {
            const std::string line = page.substr(begin, end - begin);
            EXPECT_TRUE(line.size() <= 80 || line.find(text_of(dir.path())) != std::string::npos) << line;
        }
        EXPECT_TRUE(page.ends_with("\n\nverdict: fit\n")) << page;
    }
    EXPECT_NE(pages[inspect_extent::usual].find("and 192 bytes more (--all)\n"), std::string::npos);
    EXPECT_EQ(pages[inspect_extent::everything].find("(--all)"), std::string::npos);
}

TEST(Inspect, SaysOfAConfigurationThatItCannotBeUsed) {
    const test::temp_dir dir;
    lab::inspect_request request = request_for(scene(), dir);
    request.config_file = dir.write("bad.ini", "no key\n");
    const test::description said = describe(request, inspect_outcome::unreadable);
    EXPECT_EQ(said.at("/verdict"), "unjudged");
    EXPECT_EQ(said.codes_of("/reasons"), codes{"configuration"});
}

// Requests --------------------------------------------------------------------------------------------------------

TEST(Inspect, ReadsRequests) {
    const struct {
        std::vector<std::string> arguments;
        request_reading expected;
        const char* says = "";
    } rows[] = {
        {{"pmf", "f"}, request_reading::complete},
        {{"pmf", "f", "--json", "--all", "--trusted", "t", "--intermediate=i", "--at", "2028-02-29", "-c", "c"},
         request_reading::complete},
        {{"pmf", "-c", "c", "--intermediate", "i", "f"}, request_reading::complete},
        {{"eventlog", "--all", "f"}, request_reading::complete},
        {{"pmf", "f", "--nonsense", "-h"}, request_reading::help},
        {{}, request_reading::refused, "say what to inspect\nusage: "},
        {{"di\x1Bsk", "f"}, request_reading::refused, "\"di?sk\" is no kind of file\nusage: "},
        {{"pmf"}, request_reading::refused, "\nusage: "},
        {{"pmf", "f", "g"}, request_reading::refused, "\nusage: "},
        {{"pmf", "f", "--trusted"}, request_reading::refused, "\nusage: "},
        {{"pmf", "f", "--odd\x1B"}, request_reading::refused, "--odd?"},
        {{"pmf", "f", "--intermediate", "i"}, request_reading::refused, "--trusted or -c\nusage: "},
        {{"pmf", "f", "--at", "2026-02-29"}, request_reading::refused, "no date of the form YYYY-MM-DD\nusage: "},
        {{"pmf", "f", "--at", "2026-2-9"}, request_reading::refused, "\"2026-2-9\" is no date"},
        {{"pmf", "f", "--at", "1969-12-31"}, request_reading::refused, "is no date"},
        {{"eventlog", "f", "--trusted", "t"}, request_reading::refused, "\nusage: "},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments = row.arguments;
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        SCOPED_TRACE(testing::PrintToString(arguments));
        lab::inspect_request request;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(read_inspect_request(pointers, request), row.expected);
        const std::string refusal = testing::internal::GetCapturedStderr();
        EXPECT_EQ(testing::internal::GetCapturedStdout().empty(), row.expected != request_reading::help);
        EXPECT_EQ(refusal.empty(), row.expected != request_reading::refused);
        EXPECT_NE(refusal.find(row.says), std::string::npos) << refusal;
        EXPECT_TRUE(row.expected != request_reading::complete || request.path == "f");
        if (arguments.size() > 8) {
            EXPECT_EQ(request.trusted_dir, "t");
            EXPECT_EQ(request.intermediate_dir, "i");
            EXPECT_EQ(request.config_file, "c");
            ASSERT_TRUE(request.day);
            EXPECT_EQ(request.day->day, 29);
            EXPECT_EQ(request.form, inspect_form::json);
        }
    }
}

}  // namespace
}  // namespace vellum
