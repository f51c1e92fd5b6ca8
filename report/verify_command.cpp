#include "report/verify_command.h"

#include <cstdio>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "base/text.h"
#include "core/log.h"
#include "native.h"  // of the system that the build is for
#include "platform/mute_console.h"
#include "report/evidence.h"
#include "report/identity.h"
#include "report/recorder.h"
#include "report/reported_run.h"
#include "tools/commands.h"

namespace vellum::reporting {
namespace {

evidence_expectation expectation_of(const verify_request& request, const device_identity& identity) {
    return {request.nonce, identity.key_name, identity.public_key};
}

// That of the seal log in the recording, which is loaded once: the run sees the same.
evidence_device_id device_id_of(const platform& machine) {
    log_start(machine.output, machine.time, machine.errors);
    evidence_device_id id = read_sealed_device_id(machine);
    log_stop();
    return id;
}

evidence_record record_of(evidence_judgement judged, const verify_request& request, const device_identity& identity) {
    evidence_record out;
    out.device = identity.device;
    out.accepted = judged.findings.empty();
    out.own_clock = request.own_clock;
    out.nonce = lower_hex(request.nonce);
    if (judged.key) {
        out.key_name = lower_hex(judged.key->name);
        out.key_type = key_type_name(judged.key->type);
    }
    out.quote = judged.facts;
    for (finding& kept : judged.findings) {
        out.findings.push_back(reporting::record_of(std::move(kept)));
    }
    return out;
}

void complain_of_refusal(const evidence_record& evidence) {
    for (const finding_record& finding : evidence.findings) {
        std::fprintf(stderr, "vellum-report: evidence refused: %s [%s]\n", finding.lines.front().c_str(),
                     finding.id.c_str());
    }
}

// Whether vellum would do something else than validate. What it does not understand it says itself.
[[nodiscard]] bool asks_for_another_mode(const verify_request& request) {
    std::vector<std::string> words = {"vellum"};
    words.insert(words.end(), request.run.options.begin(), request.run.options.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    mute_console mute;
    command_options options;
    return ok(parse_command_line(static_cast<int>(pointers.size()), pointers.data(), mute, options)) &&
           options.mode != run_mode::validate;
}

int verify(const verify_request& request, const device_identity& identity) {
    native_platform native;
    recorded_platform device(native.services());
    if (!ok(device.load(*request.run.device))) {
        return refuse_device(*request.run.device, device);
    }
    if (request.own_clock) {
        device.take_own_clock();
    }
    evidence_judgement judged = judge_evidence(read_evidence(*request.run.device), expectation_of(request, identity));
    // Whatever becomes of the files meanwhile, what is validated is what was signed.
    device.hold_pcrs(judged.pcrs);
    if (std::optional<finding> other = judge_device_id(identity.device, device_id_of(device.services()))) {
        judged.findings.push_back(std::move(*other));
    }
    const evidence_record evidence = record_of(std::move(judged), request, identity);
    complain_of_refusal(evidence);
    return run_reported(request.run, device.services(), evidence);
}

}  // namespace

int verify_command(std::span<char* const> arguments) {
    verify_request request;
    const request_reading reading = read_verify_request(arguments, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    if (asks_for_another_mode(request)) {
        std::fputs("vellum-report verify: evidence is for a validation, and nothing else is run on it.\n", stderr);
        return usage_error;
    }
    std::string why;
    const std::optional<device_identity> identity = read_identity(request.identity, why);
    if (!identity) {
        std::fprintf(stderr, "vellum-report: \"%s\" is no identity: %s.\n", shown_text(request.identity).c_str(),
                     why.c_str());
        return usage_error;
    }
    return verify(request, *identity);
}

}  // namespace vellum::reporting
