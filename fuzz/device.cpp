// A whole recorded device, in any mode of the program.
#include <filesystem>

#include "app/run.h"
#include "core/findings.h"
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

class keeping_console final : public console {
  public:
    std::string text;

    void start() override {}
    void write(console_stream, std::string_view written) override {
        demand(!written.starts_with("Unexpected error occurred: "), "no exception reaches the roof");
        text += written;
    }
    void set_colour(console_stream, colour) override {}
    void reset_colour(console_stream) override {}
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

struct outcome {
    int code = 0;
    std::string text;

    bool operator==(const outcome&) const = default;
};

outcome run_device(byte_view files, std::vector<std::string> arguments) {
    build_device(files);
    const inside_device inside;
    keeping_console console;
    still_clock clock;
    unnamed_errors errors;
    native_platform native;
    platform machine = native.services();
    recorded_platform device({console, clock, errors, machine.firmware, machine.tpm, machine.tables, machine.os,
                              machine.directories, machine.boot_disk});
    if (!ok(device.load("."))) {
        return {-1, device.problem()};
    }
    arguments.insert(arguments.begin(), "vellum");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    const int code = run(static_cast<int>(argv.size()), argv.data(), device.services());
    return {code, console.text};
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::uint8_t command_line = 0;
    if (!reader.u8(command_line)) {
        return;
    }
    const auto& arguments = command_lines[command_line % run_twice % std::size(command_lines)];
    const outcome first = run_device(reader.rest(), arguments);
    demand(first.code >= -1 && first.code <= 8, "a run ends with one of the known codes");
    if (command_line >= run_twice) {
        demand(run_device(reader.rest(), arguments) == first, "a second run on the same device says the same");
    }
}

}  // namespace vellum::fuzz
