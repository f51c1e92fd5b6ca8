#include "lab/seal_command.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>

#include "base/text.h"
#include "config/device_id.h"
#include "core/findings.h"
#include "lab/plan_options.h"
#include "lab/seal_recording.h"
#include "native.h"  // of the system that the build is for
#include "tools/arguments.h"
#include "tools/commands.h"

namespace vellum::lab {
namespace {

constexpr int not_sealed = 1;

// Those that every boot measures alike. PCR 11 belongs to the operating system, and often changes while it runs.
constexpr std::uint32_t usual_pcrs = supported_pcrs & ~(1U << 11);

[[nodiscard]] bool set_pcrs(std::string_view value, std::uint32_t& out) {
    const std::optional<std::uint32_t> mask = parse_pcr_list(value);
    out = mask.value_or(out);
    return mask.has_value();
}

[[nodiscard]] bool set_day(std::string_view value, std::optional<calendar_day>& out) {
    out = parse_day(value);
    return out.has_value();
}

[[nodiscard]] bool add_bom(std::string_view value, std::vector<bom_location>& out) {
    PMF::PartitionEntry entry;
    bom_location location;
    set_text(entry.measurement, value);
    const bool fits = value.size() < entry.measurement.size() && value.find('\0') == std::string_view::npos;
    out.emplace_back();
    return fits && parse_bom_location(entry.measurement, out.back()) == nullptr;
}

[[nodiscard]] bool parse(std::span<char* const> words, seal_request& out) {
    const auto keep = [](std::optional<std::string>& kept) {
        return [&kept](std::string_view value) { return !kept.emplace(value).empty(); };
    };
    bool locality_3 = false;
    const option ironwall = switch_option("--ironwall", locality_3);
    const auto set_ironwall = [&](std::string_view value) {
        const bool understood = ironwall.set(value);
        out.ironwall = locality_3;
        return understood;
    };
    const option options[] = {
        level_option(out.plan),
        device_id_option(out.plan),
        {"--external-device-id", keep(out.external_device_id), {}},
        {"--ironwall", set_ironwall, ironwall.values},
        switch_option("--seal-signing", out.plan.seal_signing),
        switch_option("--pmf-signing", out.plan.pmf_signing),
        {"--bom", [&](std::string_view value) { return add_bom(value, out.boms); }, {}},
        {"--pcrs", [&](std::string_view value) { return set_pcrs(value, out.plan.listed_pcrs); }, {}},
        {"--day", [&](std::string_view value) { return set_day(value, out.day); }, {}},
        {"--expire", [&](std::string_view value) { return set_day(value, out.last_day); }, {}},
        {"--key", keep(out.keys.key), {}, value_kind::file},
        {"--certificate", keep(out.keys.certificates), {}, value_kind::file},
        {"--seal-key", keep(out.keys.seal_key), {}, value_kind::file},
    };
    const std::optional<two_directories> directories = parse_two_directories("vellum-lab", words, options);
    out.recording = directories ? directories->from : "";
    out.directory = directories ? directories->to : "";
    return directories.has_value();
}

std::string contradiction_of_pcrs(std::uint32_t listed) {
    if ((listed >> 5 & 1U) != 0) {
        return "--pcrs: PCR 5 cannot be listed, as the hash of the PMF itself is measured into it.";
    }
    if ((listed & ~supported_pcrs) != 0) {
        return "--pcrs: of the PCRs a PMF may list " + pcr_mask_text(supported_pcrs, ", ") + ".";
    }
    if ((mandatory_pcrs & ~listed) != 0) {
        return "--pcrs: a PMF has to list the PCRs " + pcr_mask_text(mandatory_pcrs, ", ") + ".";
    }
    return "";
}

std::string contradiction_of(const seal_request& request) {
    if (const std::string_view plan = contradiction_of(request.plan); !plan.empty()) {
        return std::string(plan) + ".";
    }
    const bool external = source_takes_external_id(request.plan.id_source);
    if (external != request.external_device_id.has_value()) {
        return "--external-device-id goes with --device-id OEM_DEFINED_LITERAL and OEM_DEFINED_BLOB, which need it.";
    }
    if (request.keys.key.has_value() != request.keys.certificates.has_value()) {
        return "--key and --certificate go together.";
    }
    if (request.keys.seal_key && request.plan.level != trusted_level::tl1) {
        return "--seal-key goes with --level TL1, as TL3 signs with no key.";
    }
    const auto order = [](const calendar_day& day) { return std::tuple(day.year, day.month, day.day); };
    if (request.day && request.last_day && order(*request.last_day) < order(*request.day)) {
        return "--expire names a day before that of --day.";
    }
    return contradiction_of_pcrs(request.plan.listed_pcrs);
}

void print_command(const seal_request& request) {
    std::vector<std::string> options;
    if (request.external_device_id) {
        options.push_back("--external_device_id=" + *request.external_device_id);
    }
    std::printf("%s\n", validation_command(request.directory, options).c_str());
}

}  // namespace

int seal_command(std::span<char* const> words) {
    seal_request request;
    request.plan.listed_pcrs = usual_pcrs;
    if (!parse(words, request)) {
        return usage_error;
    }
    if (const std::string contradiction = contradiction_of(request); !contradiction.empty()) {
        std::fprintf(stderr, "vellum-lab: %s\n", contradiction.c_str());
        return usage_error;
    }
    native_platform native;
    const platform machine = native.services();
    log_start(machine.output, machine.time, machine.errors);
    const std::string wrong = seal_recording(machine, request);
    flush_messages(log_level::error, "", flush_order::newest_first);
    log_stop();
    if (!wrong.empty()) {
        std::fprintf(stderr, "vellum-lab: cannot seal \"%s\": %s\n", shown_text(request.recording).c_str(),
                     wrong.c_str());
        return not_sealed;
    }
    print_command(request);
    return 0;
}

}  // namespace vellum::lab
