#include "report/capture.h"

#include <gtest/gtest.h>

#include <map>

#include "lab/byte_builder.h"
#include "native.h"
#include "platform/recorded/recorded.h"
#include "tests/firmware/fake_device.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum::reporting {
namespace {

using files = std::map<std::string, std::string>;

files content_of(const std::filesystem::path& directory) {
    files found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            found[entry.path().lexically_relative(directory).generic_string()] =
                test::read_text(entry.path().string());
        }
    }
    return found;
}

// The names of the files that only one side has or that differ, each with a blank behind it.
std::string differences(const files& a, const files& b) {
    std::string names;
    files both = a;
    both.insert(b.begin(), b.end());
    for (const auto& [name, content] : both) {
        const auto in_a = a.find(name);
        const auto in_b = b.find(name);
        if (in_a == a.end() || in_b == b.end() || in_a->second != in_b->second) {
            names += name + " ";
        }
    }
    return names;
}

std::string text_of(std::vector<std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

// A boot disk up to the end of its partition entries.
std::string boot_sectors(std::size_t sector_size, std::uint64_t entries_lba, std::uint32_t count,
                         std::uint32_t size) {
    lab::byte_builder disk;
    disk.fill(sector_size, 0x11).text("EFI PART").fill(64, 0x22).u64_le(entries_lba).u32_le(count).u32_le(size);
    disk.fill(2 * sector_size - disk.size(), 0x33).fill(3 * sector_size, 0x44);
    return text_of(disk.take());
}

std::string pcr_values() {
    std::string values;
    for (char pcr = 0; pcr < 24; ++pcr) {
        values.append(32, static_cast<char>('A' + pcr));
    }
    return values;
}

// A device of which everything can be captured.
files whole_device() {
    return {
        {"disk/C/bom/system.bom", "bill of materials"},
        {"disk/sectors.bin", boot_sectors(512, 2, 12, 128)},
        {"disk/volumes", "C 2048 4095 C\nE 4096 8191 E\n"},
        {"firmware/driver_version", "1.2.3.515\n"},
        {"firmware/feature_get_state.bin", std::string(1300, 's')},
        {"firmware/get_version.bin", "sixteen bytes...12"},
        {"firmware/gm_file_get.bin", std::string(2000, 'g')},
        {"firmware/max_message_length", "4096\n"},
        {"now", "1700000000\n"},
        {"os_version", "10.0.19045\n"},
        {"smbios.bin", std::string("\0\0\0\0\3\0\0\0abc", 11)},
        {"timezone", "3600\n"},
        {"tpm/event_log.bin", "log of this boot"},
        {"tpm/pcrs.bin", pcr_values()},
        {"tpm/version", "2\n"},
    };
}

capture_request request_of(std::string directory, std::vector<std::string> volume_files) {
    capture_request request;
    request.directory = std::move(directory);
    request.volume_files = std::move(volume_files);
    return request;
}

struct captured {
    captured(const files& device, const std::vector<std::string>& volume_files = {"c:\\bom\\system.bom"}) {
        for (const auto& [name, content] : device) {
            recorded_here.write(name, content);
        }
        native_platform native;
        recorded_platform machine(native.services());
        EXPECT_EQ(machine.load(recorded_here.path().string()), result::success) << machine.problem();
        report = capture(machine.services(), request_of(written_here.file("capture"), volume_files));
        files_written = content_of(written_here.path() / "capture");
    }
    // The one problem that was met.
    std::string problem() const { return report.problems.size() == 1 ? report.problems.front() : "not one problem"; }

    test::log_session log;
    test::temp_dir recorded_here;
    test::temp_dir written_here;
    capture_report report;
    files files_written;
};

TEST(Capture, OfARecordedDeviceIsThatDevice) {
    files device = whole_device();
    captured taken(device);
    EXPECT_EQ(differences(taken.files_written, device), "");
    EXPECT_EQ(taken.report.recorded.size(), device.size());
    EXPECT_TRUE(taken.report.problems.empty());

    device["tpm/no_log_ex"] = "";
    device["disk/sector_size"] = "4096\n";
    device["disk/sectors.bin"] = boot_sectors(4096, 3, 128, 64);
    EXPECT_EQ(differences(captured(device).files_written, device), "") << "another kind of device";
}

TEST(Capture, SendsEachCommandThatChangesNothing) {
    files device = whole_device();
    device["firmware/sent/0000.bin"] = "";
    const captured taken(device);
    files sent = content_of(taken.recorded_here.path() / "firmware/sent");
    sent.erase("0000.bin");
    const auto request = [](char command) { return std::string("\1\0\0\0", 4) + command + std::string(7, '\0'); };
    EXPECT_EQ(sent, (files{{"0001.bin", request(10)}, {"0002.bin", request(7)}, {"0003.bin", request(1)}}));
}

TEST(Capture, LeavesOutWhatItCannotReadAndSaysWhy) {
    struct {
        const char* removed;  // a file or folder of the device, or none
        files changed;
        std::vector<std::string> missing;  // from the capture
        const char* problem;               // what its line begins with
    } const rows[] = {
        {"firmware/gm_file_get.bin",
         {},
         {"firmware/gm_file_get.bin"},
         "firmware/gm_file_get.bin: Timeout occurred (10000ms)"},
        {"",
         {{"firmware/faults", "connect not_started 1"}},
         {"firmware/max_message_length", "firmware/get_version.bin", "firmware/feature_get_state.bin",
          "firmware/gm_file_get.bin"},
         "firmware/max_message_length: DeviceIoControl function call failed. Error: "},
        {"",
         {{"firmware/faults", "version short 4"}},
         {"firmware/driver_version", "firmware/max_message_length", "firmware/get_version.bin",
          "firmware/feature_get_state.bin", "firmware/gm_file_get.bin"},
         "firmware: Could not take over IO Control to Peli interface."},
        {"tpm/pcrs.bin", {}, {"tpm/pcrs.bin"}, "tpm/pcrs.bin: the TPM service answers 0x80284008"},
        {"tpm/event_log.bin", {}, {"tpm/event_log.bin"}, "tpm/event_log.bin: the TPM service answers 0x80284008"},
        {"smbios.bin", {}, {"smbios.bin"}, "smbios.bin: "},
        {"", {{"smbios.bin", std::string(1024 * 1024 + 1, 's')}}, {"smbios.bin"}, "smbios.bin: too large"},
        {"os_version", {}, {"os_version"}, "os_version: "},
        {"disk/sectors.bin", {}, {"disk/sectors.bin"}, "disk/sectors.bin: "},
        {"",
         {{"disk/sectors.bin", std::string(2048, 'x')}},
         {},
         "disk/sectors.bin: the disk has no usable GPT header"},
        {"",
         {{"disk/sectors.bin", boot_sectors(512, 2, UINT32_MAX, UINT32_MAX)}},
         {},
         "disk/sectors.bin: the disk has"},
        {"", {{"disk/sectors.bin", boot_sectors(512, UINT64_MAX, 1, 1)}}, {}, "disk/sectors.bin: the disk has"},
        {"", {{"disk/sectors.bin", boot_sectors(512, 2, 13, 128)}}, {"disk/sectors.bin"}, "disk/sectors.bin: "},
        {"disk/C", {}, {"disk/C/bom/system.bom"}, "disk/C/bom/system.bom: "},
    };
    for (const auto& row : rows) {
        files device = whole_device();
        std::erase_if(device, [&](const auto& file) { return *row.removed && file.first.starts_with(row.removed); });
        for (const auto& [name, content] : row.changed) {
            device[name] = content;
        }
        const captured taken(device);
        EXPECT_TRUE(taken.problem().starts_with(row.problem)) << taken.problem();
        files expected = device;
        expected.erase("firmware/faults");
        std::for_each(row.missing.begin(), row.missing.end(), [&](const auto& name) { expected.erase(name); });
        if (row.missing.empty()) {
            expected["disk/sectors.bin"].resize(1024);
        }
        EXPECT_EQ(differences(taken.files_written, expected), "") << row.problem;
    }
}

TEST(Capture, KeepsWhatAnAbsentClientAndAnOldTpmAre) {
    files device = whole_device();
    device["firmware/client_absent"] = "";
    device["tpm/version"] = "1\n";
    const captured taken(device);
    EXPECT_TRUE(taken.report.problems.empty());
    for (const char* name :
         {"firmware/max_message_length", "firmware/get_version.bin", "firmware/feature_get_state.bin",
          "firmware/gm_file_get.bin", "tpm/pcrs.bin", "tpm/event_log.bin"}) {
        device.erase(name);
    }
    EXPECT_EQ(differences(taken.files_written, device), "");
}

TEST(Capture, TakesFilesOfVolumesOnly) {
    for (const char* location : {"bom/system.bom", "C:", "C:/", "C:/bom/..", "C:/../disk/volumes",
                                 "C:\\bom\\..\\..\\x", "D:/bom/system.bom", "C:/bom", "E:/bom/system.bom"}) {
        const captured taken(whole_device(), {location});
        EXPECT_NE(taken.problem(), "not one problem") << location;
        EXPECT_EQ(taken.files_written.count("disk/C/bom/system.bom"), 0U) << location;
    }
    EXPECT_EQ(differences(captured(whole_device(), {"C:bom/./x/../system.bom"}).files_written, whole_device()), "");
}

TEST(Capture, RecordsNothingOfNothingAndNothingOverSomething) {
    const captured nothing({{"now", "1"}}, {});
    EXPECT_TRUE(nothing.report.recorded.empty());
    EXPECT_TRUE(nothing.files_written.empty());
    const test::log_session log;
    const test::temp_dir used;
    used.write("capture/now", "1");
    native_platform native;
    const capture_report report = capture(native.services(), request_of(used.file("capture"), {}));
    EXPECT_TRUE(report.recorded.empty());
    EXPECT_EQ(report.problems, std::vector{used.file("capture") + ": the directory is not empty"});
}

TEST(Capture, RecordsNoMoreThanTheDriverCanHaveDelivered) {
    native_platform native;
    const platform real = native.services();
    test::fake_device firmware;
    firmware.answer.assign(20, 0x55);
    const platform machine = {real.output, real.time, real.errors,      firmware,      real.tpm,
                              real.tables, real.os,   real.directories, real.boot_disk};
    test::log_session session;
    for (const std::uint32_t claimed : {20U, 0x4000U, 0x4001U, 200'000'000U}) {
        const test::temp_dir dir;
        firmware.answered_length = claimed;
        record_writer out(dir.path().string(), machine.errors);
        capture_firmware(machine, out);
        const bool delivered = claimed <= 0x4000U;
        EXPECT_EQ(test::read_text(dir.file("firmware/gm_file_get.bin")).size(), delivered ? claimed : 0U);
        EXPECT_EQ(out.report().problems.size(), delivered ? 0U : 3U);
        EXPECT_EQ(firmware.open_handles, 0);
    }
}

}  // namespace
}  // namespace vellum::reporting
