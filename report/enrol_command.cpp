#include "report/enrol_command.h"

#include <cstdio>

#include "base/text.h"
#include "core/log.h"
#include "native.h"  // of the system that the build is for
#include "platform/standard_output.h"
#include "platform/whole_file.h"
#include "report/evidence.h"
#include "report/identity.h"
#include "report/reported_run.h"
#include "report/run_request.h"
#include "report/verdict.h"
#include "tools/commands.h"
#include "tools/option_table.h"
#include "tpm/attestation/quote.h"

namespace vellum::reporting {
namespace {

constexpr int not_written = 1;
constexpr const char* program = "vellum-report enrol";

struct enrol_request {
    std::string recording;
    std::string output = standard_output;
    std::optional<std::vector<std::uint8_t>> nonce;
};

request_reading read_request(std::span<char* const> arguments, enrol_request& out) {
    option_table table(program);
    arg_file* const output =
        table.own(arg_file0(nullptr, "output", "FILE", "where the identity goes; standard output without it"));
    arg_str* const nonce = table.own(arg_str0(nullptr, "nonce", "HEX", "what the quote has to answer"));
    arg_file* const recording =
        table.own(arg_file1(nullptr, nullptr, "RECORDING", "captured with a nonce, in the device's good state"));
    table.arrange({output, nonce}, {recording});
    const request_reading reading = table.read(arguments);
    if (reading == request_reading::complete) {
        out.recording = recording->filename[0];
        out.output = output->count > 0 ? output->filename[0] : standard_output;
    }
    if (reading == request_reading::complete && nonce->count > 0) {
        out.nonce = parse_nonce(nonce->sval[0]);
        return out.nonce ? reading : refuse_request(program, odd_nonce);
    }
    return reading;
}

int refuse(const std::string& why) {
    std::fprintf(stderr, "vellum-report: the device is not enrolled: %s\n", why.c_str());
    return evidence_refused;
}

int deliver(const std::string& path, const std::string& text) {
    const bool written =
        path == standard_output ? print_bytes(text) : write_whole_file(path, text).how == file_writing::done;
    if (!written) {
        std::fprintf(stderr, "vellum-report: cannot write the identity to \"%s\"\n", shown_text(path).c_str());
    }
    return written ? 0 : not_written;
}

int enrol(const enrol_request& request) {
    native_platform native;
    recorded_platform device(native.services());
    if (!ok(device.load(request.recording))) {
        return refuse_device(request.recording, device);
    }
    const evidence_judgement judged =
        judge_evidence(read_evidence(request.recording), {request.nonce, std::nullopt, ""});
    if (!judged.findings.empty()) {
        return refuse(judged.findings.front().lines.front());
    }
    device.hold_pcrs(judged.pcrs);
    const platform machine = device.services();
    log_start(machine.output, machine.time, machine.errors);
    const bool measured = is_seal_measured(machine);
    const evidence_device_id id = read_sealed_device_id(machine);
    log_stop();
    if (!measured) {
        return refuse("its event log or its seal log is not what the TPM signed.");
    }
    if (id.id.empty()) {
        return refuse("its seal log names no Device ID.");
    }
    return deliver(request.output, identity_json({id, lower_hex(judged.key->name), key_type_name(judged.key->type),
                                                  public_key_pem(*judged.key)}));
}

}  // namespace

int enrol_command(std::span<char* const> arguments) {
    enrol_request request;
    const request_reading reading = read_request(arguments, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    return enrol(request);
}

}  // namespace vellum::reporting
