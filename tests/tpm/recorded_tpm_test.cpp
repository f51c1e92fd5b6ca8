// The TPM of a recorded device, through the operations that use it.
#include <gtest/gtest.h>

#include "lab/pcr5_builder.h"
#include "lab/sample_boot.h"
#include "platform/recorded/tpm_library.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"
#include "tpm/log_source.h"
#include "tpm/pcr_checks.h"
#include "tpm/pcr_list.h"
#include "tpm/tbs/tpm_access.h"

namespace vellum {
namespace {

constexpr const char* no_pcrs =
    "Could not retrive PCRs from TPM. Communication with TPM using the TPM Base Services (TBS) failed.\n";
constexpr const char* no_version = "An unexpected error occurred while trying to obtain the version of the TPM.\n";
constexpr const char* no_context =
    "Cannot create context for TPM 2.0. Communication with TPM using the TPM Base Services (TBS) failed.\n";

struct machine {
    void write_boot(const lab::event_log& boot) {
        device.write("tpm/event_log.bin", build(boot));
        device.write("tpm/pcrs.bin", lab::pcrs_file(pcr_values_after(boot)));
    }

    test::log_session session{log_level::error};
    test::temp_dir device;
    recorded_tpm_library tpm{device.path().string()};
};

TEST(RecordedTpm, PcrsAndLogOfABootAgree) {
    machine recorded;
    recorded.write_boot(lab::clean_boot());
    recorded.device.write("tpm/no_log_ex", "");
    EXPECT_EQ(recorded.tpm.load("tbs.dll", 0), os_status::success);
    void* withheld = nullptr;
    EXPECT_FALSE(ok(recorded.tpm.function(tbs::get_tcg_log_ex_name, withheld)));
    pcr_value_list pcrs{};
    ASSERT_EQ(retrieve_pcrs(recorded.tpm, pcrs).verdict, stage_verdict::passed);
    std::optional<tpm_events_chains> log;
    ASSERT_EQ(load_tpm_log(recorded.tpm, live_log_source::this_boot, nullptr, log), result::success);
    EXPECT_EQ(match_log_with_pcrs(pcrs, replay_pcrs_from_log(*log), all_pcrs).verdict, stage_verdict::passed);
    EXPECT_EQ(recorded.session.pushed() + recorded.session.logged(), "");
}

struct fault_row {
    const char* name;
    void (*change)(const test::temp_dir&);
    std::string pcrs;  // what is pushed by the read of PCRs and by that of the log; empty: it works
    std::string log;
};

const fault_row fault_rows[] = {
    {"PcrsCutShort", [](const test::temp_dir& d) { d.write("tpm/pcrs.bin", std::string(767, 'x')); }, no_pcrs, ""},
    {"PcrsTooLong", [](const test::temp_dir& d) { d.write("tpm/pcrs.bin", std::string(769, 'x')); }, no_pcrs, ""},
    {"VersionTwo", [](const test::temp_dir& d) { d.write("tpm/version", "2\r\n"); }, "", ""},
    {"VersionUnknown", [](const test::temp_dir& d) { d.write("tpm/version", "3"); }, no_version, no_version},
    {"TctiLeadsNowhere", [](const test::temp_dir& d) { d.write("tpm/tcti", "device:/dev/tpm-none\n"); }, no_context,
     no_context},
    {"TctiIsNoTpm", [](const test::temp_dir& d) { d.write("tpm/tcti", "device:" + d.write("file", "content")); },
     no_context, no_context},
    {"TctiEmpty", [](const test::temp_dir& d) { std::filesystem::create_directory(d.path() / "tpm/tcti"); },
     no_context, no_context},
};

// A system without the software stack says so of a transmission interface first.
void expect_reason(std::string pushed, const std::string& reason) {
    if (pushed.starts_with("TPM transmission interface")) {
        pushed.erase(0, pushed.find('\n') + 1);
    }
    EXPECT_EQ(pushed, reason);
}

TEST(RecordedTpm, AMissingFileFailsTheCallThatNeedsIt) {
    for (const fault_row& row : fault_rows) {
        SCOPED_TRACE(row.name);
        machine recorded;
        recorded.write_boot(lab::clean_boot());
        row.change(recorded.device);
        pcr_value_list pcrs{};
        EXPECT_EQ(ok(read_pcrs_via_tbs(recorded.tpm, pcrs)), row.pcrs.empty());
        expect_reason(recorded.session.pushed(), row.pcrs);
        std::vector<std::uint8_t> log;
        EXPECT_EQ(ok(load_tpm_log_via_tbs(recorded.tpm, log)), row.log.empty());
        expect_reason(recorded.session.pushed(), row.log);
    }
}

TEST(RecordedTpm, ReadsNothingThatLiesElsewhere) {
    if (!test::links_can_be_made()) {
        GTEST_SKIP() << "links cannot be made here";
    }
    machine recorded;
    recorded.write_boot(lab::clean_boot());
    const test::temp_dir elsewhere;
    std::filesystem::rename(recorded.device.path() / "tpm", elsewhere.path() / "tpm");
    std::filesystem::create_directory_symlink(elsewhere.path() / "tpm", recorded.device.path() / "tpm");
    pcr_value_list pcrs{};
    EXPECT_FALSE(ok(read_pcrs_via_tbs(recorded.tpm, pcrs)));
    std::vector<std::uint8_t> log;
    EXPECT_FALSE(ok(load_tpm_log_via_tbs(recorded.tpm, log)));
}

TEST(RecordedTpm, NamesNothingButATpm) {
    for (const char* tpm : {"device:/dev/tpm0", "device:/dev/tpmrm1", "swtpm:host=127.0.0.1,port=2321", "mssim:"}) {
        EXPECT_TRUE(may_be_recorded(tpm)) << tpm;
    }
    for (const char* other :
         {"", "device", "device:/dev/sda", "device:/dev/tpm/../sda", "device:/dev/tpm0/../sda", "device:/dev/tpm/",
          "device:/dev/../dev/tpm0", " device:/dev/tpm0", "cmd:touch /dev/tpm0", "/lib/swtpm:", "pcap:swtpm:"}) {
        EXPECT_FALSE(may_be_recorded(other)) << other;
    }
}

TEST(RecordedTpm, LogThatDoesNotParseIsNamed) {
    machine recorded;
    recorded.device.write("tpm/event_log.bin", "no log");
    std::optional<tpm_events_chains> log;
    EXPECT_EQ(load_tpm_log(recorded.tpm, live_log_source::this_boot, nullptr, log), result::invalid);
    EXPECT_TRUE(recorded.session.pushed().ends_with(
        "\nError occurred while trying to parse the TPM Event Log file retrieved from this boot.\n"));
}

}  // namespace
}  // namespace vellum
