#include "report/capture_command.h"

#include <algorithm>
#include <cstdio>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/stage.h"
#include "native.h"  // of the system that the build is for
#include "report/judgeable.h"
#include "report/reported_run.h"
#include "tools/arguments.h"
#include "tools/commands.h"
#include "tpm/attestation/quote.h"

namespace vellum::reporting {
namespace {

constexpr int nothing_judged = 1;
constexpr int partly_judged = 4;

[[nodiscard]] bool parse(std::span<char* const> words, capture_request& out) {
    const auto keep = [](std::optional<std::string>& kept) {
        return [&kept](std::string_view value) { return !kept.emplace(value).empty(); };
    };
    const option options[] = {
        {"--file", [&](std::string_view value) { return out.volume_files.emplace_back(value), true; }, {}},
        {"--config", keep(out.config_file), {}, value_kind::file},
        {"--reference-log", keep(out.reference_log), {}, value_kind::file},
        {"--external-device-id", keep(out.external_device_id), {}},
        {"--nonce", [&](std::string_view digits) { return (out.nonce = parse_nonce(digits)).has_value(); }, {}},
        {"--device", keep(out.device), {}, value_kind::directory},
    };
    const std::optional<std::string> directory = parse_arguments("vellum-report", words, options);
    if (directory && !out.config_file && (out.reference_log || out.external_device_id)) {
        std::fprintf(stderr, "vellum-report: --reference-log and --external-device-id go with --config.\n");
        return false;
    }
    out.directory = directory.value_or("");
    return directory.has_value();
}

void print_recorded(const capture_report& report) {
    for (const std::string& name : report.recorded) {
        std::printf("recorded      %s\n", shown_text(name).c_str());
    }
    for (const std::string& problem : report.problems) {
        std::printf("not recorded  %s\n", shown_text(problem).c_str());
    }
}

void print_command(const capture_request& request) {
    std::vector<std::string> options;
    if (request.reference_log) {
        options.push_back("--reference_tpm_log_file=" + request.directory + "/" + recorded_reference_log);
    }
    if (request.external_device_id) {
        options.push_back("--external_device_id=" + *request.external_device_id);
    }
    std::printf("%s\n", validation_command(request.directory, options).c_str());
}

int print_judged(const std::vector<unjudged_stage>& unjudged) {
    for (const unjudged_stage& stage : unjudged) {
        std::printf("cannot judge  %s: %s\n", stage.name.c_str(), shown_text(stage.why).c_str());
    }
    const std::size_t judged = stage_count - unjudged.size();
    if (unjudged.empty()) {
        std::printf("can judge     all %zu stages\n", stage_count);
        return 0;
    }
    std::printf("can judge     %zu of %zu stages\n", judged, stage_count);
    return judged == 0 ? nothing_judged : partly_judged;
}

// Where a quote was asked for, a recording without it is not whole.
int code_of(int judged, const capture_request& request, const capture_report& report) {
    const auto& names = report.recorded;
    const bool quoted = std::find(names.begin(), names.end(), recorded_quote) != names.end();
    return judged == 0 && request.nonce && !quoted ? partly_judged : judged;
}

int capture_from(const platform& machine, const capture_request& request) {
    log_start(machine.output, machine.time, machine.errors);
    const capture_report report = capture(machine, request);
    flush_messages(log_level::error, "", flush_order::newest_first);
    print_recorded(report);
    if (report.recorded.empty()) {
        log_stop();
        return nothing_judged;
    }
    const int code = code_of(print_judged(unjudged_stages(machine, request, report)), request, report);
    if (report.config) {
        print_command(request);
    }
    log_stop();
    return code;
}

}  // namespace

int capture_command(std::span<char* const> words) {
    capture_request request;
    if (!parse(words, request)) {
        return usage_error;
    }
    native_platform native;
    if (!request.device) {
        return capture_from(native.services(), request);
    }
    recorded_platform device(native.services());
    if (!ok(device.load(*request.device))) {
        return refuse_device(*request.device, device);
    }
    return capture_from(device.services(), request);
}

}  // namespace vellum::reporting
