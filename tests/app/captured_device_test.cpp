// A forged device captured through its services, with its configuration, is the same device to a validation.
#include <gtest/gtest.h>

#include <set>

#include "core/findings.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "report/judgeable.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

// A device, and what was captured of it.
class captured_device {
  public:
    explicit captured_device(const char* fault_name = "", lab::trusted_level level = lab::trusted_level::tl1) {
        const lab::fault* fault = lab::find_fault(fault_name);
        EXPECT_EQ(fault == nullptr, *fault_name == '\0') << fault_name;
        lab::device_plan plan;
        plan.level = level;
        if (fault != nullptr && fault->plan != nullptr) {
            fault->plan(plan);
        }
        lab::device made;
        EXPECT_EQ(lab::make_device(plan, made), result::success);
        if (fault != nullptr && fault->since != nullptr) {
            fault->since(made);
        }
        EXPECT_EQ(lab::write_device(made, original.path().string()), result::success);
        request.directory = copy.file("capture");
        request.volume_files = {"C:\\bom\\system.bom"};
        request.config_file = original.file("kxl.ini");
    }

    void capture() {
        test::log_session log;
        native_platform native;
        recorded_platform device(native.services());
        ASSERT_EQ(device.load(original.path().string()), result::success);
        report = reporting::capture(device.services(), request);
        log.pushed();
        for (const reporting::unjudged_stage& stage :
             reporting::unjudged_stages(device.services(), request, report)) {
            EXPECT_NE(stage.why, "") << stage.name;
            unjudged.insert(stage.name);
        }
    }

    // The report on the one that was captured, and on what was captured, each with the configuration beside it.
    test::outcome expected() const { return validate(original.path().string(), ""); }
    test::outcome actual() const {
        test::outcome outcome = validate(request.directory, request.reference_log ? "reference.bin" : "");
        const std::string here = original.path().string();
        for (std::size_t at = 0; (at = outcome.text.find(request.directory, at)) != std::string::npos;) {
            outcome.text.replace(at, request.directory.size(), here);
        }
        return outcome;
    }

    test::temp_dir original;
    test::temp_dir copy;
    reporting::capture_request request;
    reporting::capture_report report;
    std::set<std::string> unjudged;

  private:
    static test::outcome validate(const std::string& directory, const std::string& reference_log) {
        std::vector<std::string> options = {"--validate", "-c", directory + "/kxl.ini"};
        if (!reference_log.empty()) {
            options.push_back("--reference_tpm_log_file=" + directory + "/" + reference_log);
        }
        return test::run_recorded(directory, options);
    }
};

TEST(CapturedDevice, IsReportedAsTheOneItWasTakenFrom) {
    for (const char* name : {"", "no-client", "seal-broken", "forged-log", "partition-moved", "bom-file",
                             "drive-letter-allowed", "untrusted-root", "trusted-not-pem", "tl3-clock-before-seal",
                             "tl3-file-date", "tl3-file-syntax", "algorithm-not-expected"}) {
        captured_device device(name);
        if (std::string_view(name) == "drive-letter-allowed") {
            device.request.volume_files = {"D:/bom/system.bom"};
        }
        device.capture();
        const bool names_no_identity_file = std::string_view(name) == "algorithm-not-expected";
        EXPECT_EQ(device.report.problems, std::vector<std::string>()) << name;
        EXPECT_EQ(device.unjudged.empty(), std::string_view(name) != "no-client" && !names_no_identity_file) << name;
        const test::outcome expected = device.expected();
        EXPECT_EQ(device.actual().text, expected.text) << name;
        EXPECT_EQ(device.actual().code, expected.code) << name;
    }
}

TEST(CapturedDevice, TakesAlongWhatItsConfigurationNamesWhereverItLies) {
    captured_device device("", lab::trusted_level::tl3);
    const fs::path root = device.original.path();
    const test::temp_dir elsewhere;
    fs::rename(root / "trusted", elsewhere.path() / "anchors");
    fs::rename(root / "tl3_identity.csv", root / "SN-0042.csv");
    fs::copy(root / "tpm/event_log.bin", elsewhere.path() / "LINE-4.bin");
    const std::string ini = test::read_text(device.original.file("kxl.ini"));
    const std::size_t cut = ini.find("[PMF Signature Validation]");
    ASSERT_NE(cut, std::string::npos);
    device.original.write("kxl.ini",
                          ini.substr(0, cut) + "[PMF Signature Validation]\nIntermediateCaDir=intermediate\n" +
                              "TrustedCaDir=" + elsewhere.file("anchors") + "\n" +
                              "[Logging]\nFileLogPath=/no/such/directory/log\nFileLogLevel=2\n" +
                              "[Seal Signature Validation]\nTL3SealIdentityVerificationFile=" +
                              "::SERIAL_NUMBER::.csv\nExpectedSealSigningAlgorithm=SHA256-NULL-ENCRYPTION\n");
    device.request.reference_log = elsewhere.file("::OEM_DEFINED_LITERAL::.bin");
    device.request.external_device_id = "LINE-4";
    device.capture();
    EXPECT_EQ(device.report.problems, std::vector<std::string>());
    EXPECT_EQ(device.unjudged, std::set<std::string>());
    const test::outcome outcome = device.actual();
    EXPECT_EQ(outcome.code, 0) << outcome.text;
    EXPECT_NE(outcome.text.find("TPM Log matches Reference TPM Log"), std::string::npos);
    const std::string taken = test::read_text(device.request.directory + "/kxl.ini");
    EXPECT_EQ(taken.find("FileLogPath"), std::string::npos) << taken;
    EXPECT_NE(taken.find("FileLogLevel=2\n"), std::string::npos) << taken;
}

// The stages that a report has as failed or skipped.
std::set<std::string> not_passed(const std::string& report) {
    std::set<std::string> names;
    for (std::string_view rest = report; !rest.empty();) {
        const std::string_view line = take_until(rest, '\n');
        const std::size_t colon = line.find(":  ");
        const bool result = line.find("FAILED", colon) != line.npos || line.find("SKIPPED", colon) != line.npos;
        if (colon != line.npos && !line.starts_with(' ') && result) {
            names.emplace(line.substr(0, std::min(colon, line.find(" (PCRs ["))));
        }
    }
    return names;
}

TEST(CapturedDevice, CannotBeJudgedWhereItsReportHasNothingToGoBy) {
    for (const char* lost :
         {"firmware", "firmware/get_version.bin", "firmware/feature_get_state.bin", "firmware/gm_file_get.bin", "tpm",
          "tpm/pcrs.bin", "tpm/event_log.bin", "smbios.bin", "os_version", "disk/sectors.bin", "disk/volumes",
          "disk/C/bom/system.bom", "trusted", "trusted/root.crt", "intermediate", "reference"}) {
        captured_device device;
        fs::copy(device.original.path() / "tpm/event_log.bin", device.original.path() / "reference");
        device.request.reference_log = device.original.file("reference");
        fs::remove_all(device.original.path() / lost);
        device.capture();
        EXPECT_EQ(device.report.problems.empty(), false) << lost;
        if (std::string_view(lost) == "reference") {
            EXPECT_EQ(device.unjudged, std::set<std::string>{"TPM Log matches Reference TPM Log"});
            continue;
        }
        EXPECT_EQ(device.unjudged, not_passed(device.actual().text)) << lost << "\n" << device.actual().text;
        EXPECT_FALSE(device.unjudged.empty()) << lost;
    }
}

TEST(CapturedDevice, CannotBeJudgedByWhatWasNotTakenAlong) {
    captured_device without_bom_file;
    without_bom_file.request.volume_files.clear();
    without_bom_file.capture();
    EXPECT_EQ(without_bom_file.unjudged, std::set<std::string>{"PMF Disk Measurements matches the platform"});
    captured_device without_configuration;
    without_configuration.request.config_file.reset();
    without_configuration.capture();
    EXPECT_EQ(without_configuration.unjudged.size(), 5U);
    captured_device bad_configuration;
    bad_configuration.request.config_file = bad_configuration.original.write("bad.ini", "[Logging]\nLevel=1\n");
    bad_configuration.capture();
    EXPECT_EQ(bad_configuration.report.problems.size(), 1U);
    EXPECT_EQ(bad_configuration.unjudged, without_configuration.unjudged);
}

}  // namespace
}  // namespace vellum
