#include "report/verification.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>

#include "base/path.h"
#include "base/text.h"
#include "core/log.h"
#include "report/evidence.h"
#include "report/recorder.h"
#include "report/reported_run.h"

namespace vellum::reporting {
namespace {

// That of the seal log in the recording, which is loaded once: the run sees the same.
evidence_device_id device_id_of(const platform& machine) {
    log_start(machine.output, machine.time, machine.errors);
    evidence_device_id id = read_sealed_device_id(machine);
    log_stop();
    return id;
}

evidence_judgement judge(recorded_platform& device, const verify_request& request, const device_identity& identity) {
    const evidence_expectation expected = {request.nonce, identity.key_name, identity.public_key};
    evidence_judgement judged = judge_evidence(read_evidence(*request.run.device), expected);
    // Whatever becomes of the files meanwhile, what is validated is what was signed.
    device.hold_pcrs(judged.pcrs);
    if (std::optional<finding> other = judge_device_id(identity.device, device_id_of(device.services()))) {
        judged.findings.push_back(std::move(*other));
    }
    return judged;
}

// Nothing else of it is looked at: no part of what cannot be read whole is known to belong to the rest.
evidence_judgement judge_unreadable(const recorded_platform& device) {
    evidence_judgement judged;
    judged.findings.push_back(unreadable_recording(device.problem()));
    return judged;
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
    out.findings.reserve(judged.findings.size());
    for (finding& kept : judged.findings) {
        out.findings.push_back(reporting::record_of(std::move(kept)));
    }
    return out;
}

void complain_of_refusal(const evidence_record& evidence) {
    for (const finding_record& finding : evidence.findings) {
        std::fprintf(stderr, "vellum-report: evidence refused: %s [%s]\n", shown_text(finding.lines.front()).c_str(),
                     finding.id.c_str());
    }
}

[[nodiscard]] bool is_there(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path_of(path), error));
}

}  // namespace

int verify_recording(const verify_request& request, const device_identity& identity, const platform& native) {
    const std::string& recording = *request.run.device;
    recorded_platform device(native);
    const bool loaded = ok(device.load(recording));
    if (!loaded && !is_there(recording)) {
        return refuse_device(recording, device);
    }
    if (loaded && request.own_clock) {
        device.take_own_clock();
    }
    platform machine = loaded ? device.services() : native;
    machine.record_directory = recording;
    evidence_judgement judged = loaded ? judge(device, request, identity) : judge_unreadable(device);
    const evidence_record evidence = record_of(std::move(judged), request, identity);
    complain_of_refusal(evidence);
    return run_reported(request.run, machine, evidence);
}

}  // namespace vellum::reporting
