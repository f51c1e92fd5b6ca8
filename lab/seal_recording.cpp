#include "lab/seal_recording.h"

#include <filesystem>
#include <limits>

#include "app/stages.h"
#include "app/validate_mode.h"
#include "base/format.h"
#include "base/path.h"
#include "base/text.h"
#include "core/findings.h"
#include "core/times.h"
#include "lab/digest_of.h"
#include "lab/recorded_machine.h"
#include "lab/sealed_log.h"
#include "platform/recorded/recorded.h"
#include "pmf/dates.h"
#include "tools/write_file.h"
#include "tpm/event_log.h"
#include "tpm/pcr5_stages.h"
#include "tpm/pcr_list.h"

namespace vellum::lab {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t end_of_seal_times = std::numeric_limits<std::uint32_t>::max() - std::int64_t{3600};

std::uint32_t decimal_digits(int value) {
    return value < 10 ? static_cast<std::uint32_t>(value)
                      : decimal_digits(value / 10) << 4 | static_cast<std::uint32_t>(value % 10);
}

std::uint32_t bcd_of(const calendar_day& day) {
    return decimal_digits(day.year) << 16 | decimal_digits(day.month) << 8 | decimal_digits(day.day);
}

calendar_day usual_last_day(std::int64_t seal_time) {
    const std::string date = utc_iso_string(seal_time).value_or("1970");
    return {parse_decimal<int>(date.substr(0, 4)).value_or(1970) + 2, 12, 31};
}

// When the seal is made and how long it holds, by the recording's clock.
std::string set_times(const seal_request& request, std::int64_t now, device_plan& out) {
    std::int64_t seal_time = now;
    if (request.day) {
        const auto [year, month, day] = *request.day;
        seal_time = utc_seconds_of_day(year, static_cast<unsigned>(month), static_cast<unsigned>(day)).value_or(now);
    }
    if (now < 0 || now > end_of_seal_times) {
        return "its clock, in the file now, shows a time that no seal log can hold.";
    }
    if (seal_time > now) {
        return "the day of the seal (--day) is in the future of its clock, in the file now.";
    }
    const calendar_day last_day = request.last_day.value_or(usual_last_day(seal_time));
    const std::optional<std::int64_t> last_second = end_of_day_at(0, last_day);
    if (!last_second || *last_second < now) {
        return "the PMF's last day (--expire) is in the past of its clock, in the file now.";
    }
    out.seal_time = static_cast<std::uint32_t>(seal_time);
    out.expire_date = bcd_of(last_day);
    return "";
}

// A line each, what it is and its value, for people and scripts.
std::string describe(const log_event& event, const pcr_value& predicted) {
    return formatted("pcr %u\ntype 0x%08x %s\n", event.pcr, event.type, tpm_event_type_name(event.type)) +
           "when before the separator of PCR 5 (EV_SEPARATOR), at each boot\n" +
           formatted("size %zu\n", event.data.size()) + "sha256 " + lower_hex(digest_of(event.data)) + "\n" +
           "pcr5_after_boot " + lower_hex(predicted) + "\n";
}

// The recording of the boot that measures the seal.
std::string boot_after_seal(const log_event& event, const recorded_machine& machine, device& out) {
    std::vector<std::uint8_t> log;
    const std::string lacks = measure_before_separator(machine.files.at(recorded_log), event, log);
    if (!lacks.empty()) {
        return std::string(recorded_log) + " " + lacks + ".";
    }
    std::optional<tpm_events_chains> chains;
    pcr5_events found;
    if (!ok(parse_tpm_log(log, chains)) || validate_pcr5_events(*chains, found).verdict != stage_verdict::passed) {
        return std::string(recorded_log) + " holds events in PCR 5 that a sealed device may not have.";
    }
    pcr_value_list pcrs = machine.facts.pcrs;
    pcrs[5] = replay_pcrs_from_log(*chains)[5];
    out.recorded = machine.files;
    out.recorded[recorded_log] = std::move(log);
    out.recorded[recorded_pcr_values] = pcrs_file(pcrs);
    out.recorded[seal_event_file] = event.data;
    const std::string description = describe(event, pcrs[5]);
    out.recorded[seal_event_description].assign(description.begin(), description.end());
    return "";
}

std::string make_sealed(const platform& native, const seal_request& request, device& out) {
    recorded_machine machine;
    if (std::string wrong = read_recorded_machine(native, request, machine); !wrong.empty()) {
        return wrong;
    }
    device_plan plan = request.plan;
    plan.ironwall = request.ironwall.value_or(machine.started_at_locality_3);
    plan.sed_lock = false;  // its records would have to be those of the boot that is judged
    if (plan.ironwall && !machine.started_at_locality_3) {
        return "its TPM was not started at locality 3, which --ironwall on demands.";
    }
    if (std::string wrong = set_times(request, machine.now, plan); !wrong.empty()) {
        return wrong;
    }
    if (std::string wrong = read_signing_keys(request.keys, plan.keys); !wrong.empty()) {
        return wrong;
    }
    if (!ok(seal_machine(plan, machine.facts, out))) {
        return "the crypto library does not sign.";
    }
    return boot_after_seal(measured_seal(plan, out), machine, out);
}

// As the command that is printed will do, without the command line.
bool passes(const platform& native, const std::string& directory, const std::optional<device_id>& external) {
    recorded_platform device(native);
    if (!ok(device.load(directory))) {
        return false;
    }
    validation_state state(device.services());
    command_options options;
    options.config_file = directory + "/kxl.ini";
    if (!ok(read_expectations(options, state))) {
        return false;
    }
    state.external_device_id = external;
    run_all_stages(state);
    state.link.close();
    constexpr stage_set every = (stage_set{1} << stage_count) - 1;
    return state.stages.all_passed(every);
}

// Silent when it passes; else the report says why not.
bool passes_or_is_shown(const platform& native, const seal_request& request) {
    std::optional<device_id> external;
    if (request.external_device_id) {
        if (!ok(set_external_device_id(request.plan.id_source, *request.external_device_id, external.emplace()))) {
            return false;
        }
    }
    set_console_threshold(log_level::off);
    if (passes(native, request.directory, external)) {
        return true;
    }
    set_console_threshold(log_level::info);
    return passes(native, request.directory, external);
}

void remove_contents(const fs::path& directory, bool was_there) {
    std::error_code ignored;  // what cannot be removed could not be written either
    if (!was_there) {
        fs::remove_all(directory, ignored);
        return;
    }
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        fs::remove_all(entry.path(), ignored);
    }
}

std::string write_sealed(const platform& native, const seal_request& request, const device& made) {
    const fs::path directory = path_of(request.directory);
    std::error_code ignored;
    const bool was_there = fs::exists(directory, ignored);
    std::string reason;
    if (!prepare_directory(directory, reason)) {
        return "\"" + shown_text(request.directory) + "\" cannot be written into: " + reason + ".";
    }
    if (!ok(write_device(made, request.directory))) {
        reason = "the sealed device cannot be written into \"" + shown_text(request.directory) + "\".";
    } else if (!passes_or_is_shown(native, request)) {
        reason = "what came of it does not pass its own validation.";
    }
    if (!reason.empty()) {
        remove_contents(directory, was_there);
    }
    return reason;
}

}  // namespace

std::string seal_recording(const platform& machine, const seal_request& request) {
    set_console_threshold(log_level::error);
    device made;
    std::string wrong = make_sealed(machine, request, made);
    return wrong.empty() ? write_sealed(machine, request, made) : wrong;
}

}  // namespace vellum::lab
