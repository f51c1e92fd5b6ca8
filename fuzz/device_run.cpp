#include "fuzz/device_run.h"

#include <filesystem>

#include "fuzz/device_files.h"
#include "fuzz/fuzz_session.h"
#include "native.h"  // of the system that the build is for
#include "platform/recorded/recorded.h"

namespace vellum::fuzz {
namespace {

// Every one names the log file, so that no configuration can choose where to write.
const std::vector<std::string> command_lines[] = {
    {"--validate", "-c", "kxl.ini", "-o", "log", "-v", "3", "-l", "3"},
    {"--unseal", "-c", "kxl.ini", "-o", "log", "-v", "3", "-r", "1"},
    {"--compare_log", "-c", "kxl.ini", "-o", "log", "--reference_tpm_log_file=reference.bin", "-v", "3"},
    {"--compare_log", "-o", "log", "--reference_tpm_log_file=reference.bin", "--compared_pcrs=0,4,7",
     "--tpm_event_log_file=tpm/event_log.bin"},
    {"--validate", "-c", "kxl.ini", "-o", "log", "-v", "2", "-l", "2", "-g", "pmf.bin",
     "--reference_tpm_log_file=reference.bin", "--external_device_id=0x0A0BC0DE", "--bypass_version_check"},
    {"--validate", "-c", "kxl.ini", "-o", "log", "--external_device_id=LINE-4_unit.0042", "--skip_iwl_validation",
     "--skip_retrieving_pcrs", "--tpm_event_log_file=tpm/event_log.bin"},
};

// Meanwhile the directory of the process is the device, and nothing outside it is named.
class inside_device {
  public:
    inside_device() { std::filesystem::current_path(scratch().path()); }
    ~inside_device() { std::filesystem::current_path(before_); }
    inside_device(const inside_device&) = delete;
    inside_device& operator=(const inside_device&) = delete;

  private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

// A run leaves a log and may leave requests: each has a device of its own.
void build_device(byte_view files) {
    for (const auto& entry : std::filesystem::directory_iterator(scratch().path())) {
        std::filesystem::remove_all(entry);
    }
    byte_reader reader(files);
    std::uint8_t file = 0;
    while (reader.u8(file)) {
        scratch().write(device_files[file % std::size(device_files)], take_part(reader));
    }
}

}  // namespace

const std::vector<std::string>& command_line_of(std::uint8_t choice) {
    return command_lines[choice % std::size(command_lines)];
}

void visit_device(byte_view files, console& output, const std::function<void(const platform& machine)>& visit,
                  std::string& problem) {
    build_device(files);
    const inside_device inside;
    still_clock clock;
    unnamed_errors errors;
    native_platform native;
    platform machine = native.services();
    recorded_platform device({output, clock, errors, machine.firmware, machine.tpm, machine.tables, machine.os,
                              machine.directories, machine.boot_disk});
    if (ok(device.load("."))) {
        visit(device.services());
    } else {
        problem = device.problem();
    }
}

}  // namespace vellum::fuzz
