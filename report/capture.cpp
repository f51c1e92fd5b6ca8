#include "report/capture.h"

#include <filesystem>

#include "base/path.h"
#include "core/findings.h"
#include "pmf/smbios.h"
#include "tools/write_file.h"

namespace vellum::reporting {
namespace {

namespace fs = std::filesystem;

void capture_smbios(const platform& machine, record_writer& out) {
    std::vector<std::uint8_t> data;
    if (const os_status read = machine.tables.read(data); !ok(read)) {
        out.system_problem("smbios.bin", read);
    } else if (data.size() > max_smbios_size) {
        out.problem("smbios.bin", "too large");
    } else {
        out.write("smbios.bin", data);
    }
}

void capture_os_version(const platform& machine, record_writer& out) {
    std::uint32_t major_number = 0;
    std::uint32_t minor_number = 0;
    std::string build;
    os_status read = machine.os.read_major(major_number);
    read = ok(read) ? machine.os.read_minor(minor_number) : read;
    read = ok(read) ? machine.os.read_build(build) : read;
    if (!ok(read)) {
        out.system_problem("os_version", read);
        return;
    }
    out.write("os_version", std::to_string(major_number) + "." + std::to_string(minor_number) + "." + build + "\n");
}

void capture_clock(const platform& machine, record_writer& out) {
    out.write("now", std::to_string(machine.time.now()) + "\n");
    out.write("timezone", std::to_string(machine.time.utc_offset()) + "\n");
}

}  // namespace

bool record_writer::make_room(const std::string& name) {
    std::error_code error;
    fs::create_directories(path_of(directory_ + "/" + name).parent_path(), error);
    if (error) {
        problem(name, error.message());
    }
    return !error;
}

void record_writer::write(const std::string& name, byte_view content) {
    if (!make_room(name)) {
        return;
    }
    if (!write_bytes(path_of(directory_ + "/" + name), content)) {
        problem(name, "the file cannot be written");
        return;
    }
    report_.recorded.push_back(name);
}

void record_writer::copy(const std::string& name, const std::string& source) {
    std::error_code error;
    if (!fs::is_regular_file(path_of(source), error)) {
        problem(name, "\"" + source + "\": " + (error ? error.message() : "not a file"));
        return;
    }
    if (!make_room(name)) {
        return;
    }
    fs::copy_file(path_of(source), path_of(directory_ + "/" + name), error);
    if (error) {
        problem(name, error.message());
        return;
    }
    report_.recorded.push_back(name);
}

void record_writer::problem(const std::string& subject, const std::string& reason) {
    report_.problems.push_back(subject + ": " + reason);
}

void record_writer::system_problem(const std::string& subject, os_status reason) {
    problem(subject, errors_.text(reason).value_or("error " + std::to_string(code_of(reason))));
}

capture_report capture(const platform& machine, const capture_request& request) {
    record_writer out(request.directory, machine.errors);
    std::string reason;
    if (!prepare_directory(path_of(request.directory), reason)) {
        out.problem(request.directory, reason);
        return out.report();
    }
    capture_firmware(machine, out);
    capture_tpm(machine, request.nonce, out);
    capture_smbios(machine, out);
    capture_os_version(machine, out);
    capture_disk(machine, request.volume_files, out);
    if (out.report().recorded.empty()) {
        return out.report();
    }
    capture_clock(machine, out);
    if (request.config_file) {
        out.config(capture_configuration(machine, request, out));
    }
    return out.report();
}

}  // namespace vellum::reporting
