#include "report/judgeable.h"

#include <algorithm>

#include "app/stages.h"
#include "base/suggestions.h"
#include "base/text.h"
#include "config/device_id.h"
#include "core/findings.h"
#include "disk/bom_location.h"
#include "firmware/commands.h"
#include "platform/recorded/recorded.h"
#include "tools/arguments.h"

namespace vellum::reporting {
namespace {

struct taken {
    const capture_request& request;
    const capture_report& report;
};

bool is_recorded(const capture_report& report, std::string_view name) {
    return std::find(report.recorded.begin(), report.recorded.end(), name) != report.recorded.end();
}

// Problems begin with what they are about, which may be a whole folder.
bool is_about(std::string_view problem, std::string_view name) {
    return problem.starts_with(name) && (problem.substr(name.size()).starts_with(": "));
}

// Why the file is not there.
std::string reason(const capture_report& report, const std::string& name) {
    const std::string folder = name.substr(0, name.find('/'));
    for (const std::string& problem : report.problems) {
        if (is_about(problem, name) || is_about(problem, folder)) {
            return problem;
        }
    }
    return name + " is not recorded";
}

// What stages ask for beyond other stages; each gives the reason why it is not there, or nothing. ------------------

std::string file(const taken& from, const char* name) {
    return is_recorded(from.report, name) ? "" : reason(from.report, name);
}

// That the client is absent is an answer too.
std::string client(const taken& from, const char* name) {
    return is_recorded(from.report, "firmware/client_absent") ? "" : file(from, name);
}

std::string configuration(const taken& from, const char* name) {
    return from.request.config_file ? file(from, name) : "no configuration file was taken along (--config FILE)";
}

// Of the files beneath, none may have been left behind.
std::string directory(const taken& from, const char* name) {
    for (const std::string& problem : from.report.problems) {
        if (is_about(problem, name) || problem.starts_with(std::string(name) + "/")) {
            return problem;
        }
    }
    return "";
}

std::string ca_directory(const taken& from, const char* name) {
    const bool wanted = from.report.config && from.report.config->seal.flags.pmf_signing != 0;
    return wanted ? directory(from, name) : "";
}

std::string external_certificate(const taken& from, const char* name) {
    const bool wanted = from.report.config && !from.report.config->pmf_external_certificate_path.empty();
    return wanted ? file(from, name) : "";
}

std::string tl3_file(const taken& from, const char* name) {
    constexpr auto level_3 = signature_scheme::sha256_null_encryption;
    const bool wanted = from.report.config && from.report.config->expected_seal_signing_algorithm == level_3;
    return wanted ? file(from, name) : "";
}

std::string reference_log(const taken& from, const char* name) {
    return from.request.reference_log ? file(from, name) : "";
}

std::string external_id(const taken& from, const char* name) {
    const bool wanted = from.report.config && source_takes_external_id(from.report.config->device_id_source);
    return wanted && !from.request.external_device_id ? std::string("it is not told (") + name + " ID)" : "";
}

struct input {
    std::size_t slot;
    const char* name;
    std::string (*missing)(const taken& from, const char* name);
};

constexpr input inputs[] = {
    {SLOT_CONNECTION, "firmware/get_version.bin", client},
    {SLOT_FEATURE_STATE, "firmware/feature_get_state.bin", file},
    {SLOT_RETRIEVE_PMF, "firmware/gm_file_get.bin", file},
    {SLOT_RETRIEVE_PCRS, "tpm/pcrs.bin", file},
    {SLOT_RETRIEVE_TPM_LOG, "tpm/event_log.bin", file},
    {SLOT_PLATFORM_INFO, "smbios.bin", file},
    {SLOT_PLATFORM_INFO, "os_version", file},
    {SLOT_SEAL_CONFIG_MATCH, recorded_config_file, configuration},
    {SLOT_SEAL_SIGNATURE, recorded_config_file, configuration},
    {SLOT_SEAL_SIGNATURE, recorded_tl3_file, tl3_file},
    {SLOT_PMF_TRUST, recorded_config_file, configuration},
    {SLOT_PMF_TRUST, recorded_trusted_directory, ca_directory},
    {SLOT_PMF_TRUST, recorded_intermediate_directory, ca_directory},
    {SLOT_PMF_TRUST, recorded_external_certificate, external_certificate},
    {SLOT_REFERENCE_LOG, recorded_reference_log, reference_log},
    {SLOT_DISK_MEASUREMENTS, "disk/sectors.bin", file},
    {SLOT_DISK_MEASUREMENTS, "disk/volumes", file},
    {SLOT_DISK_MEASUREMENTS, recorded_config_file, configuration},
    {SLOT_DEVICE_ID, "--external-device-id", external_id},
    {SLOT_IRONWALL, recorded_config_file, configuration},
};

// The BOM files that the PMF names ----------------------------------------------------------------------------------

// Of whichever volume: the partition's volume may have another letter than the location.
bool is_recorded_on_a_volume(const capture_report& report, const std::string& path) {
    constexpr std::string_view folder = "disk/C/";
    return std::any_of(report.recorded.begin(), report.recorded.end(), [&](const std::string& name) {
        return name.starts_with("disk/") && name.size() > folder.size() &&
               lower_case(name.substr(folder.size())) == lower_case(path);
    });
}

std::string missing_bom_file(const PmfDocument& pmf, const capture_report& report) {
    PMF::DiskMetadataFileExtension metadata;
    if (!ok(get_pmf_extension(pmf, metadata))) {
        return "";
    }
    for (const PMF::PartitionEntry& partition : metadata.entries) {
        bom_location location;
        if (partition.measurement_type == static_cast<std::uint32_t>(PmfMeasurementType::bom_provided) &&
            parse_bom_location(partition.measurement, location) == nullptr &&
            !is_recorded_on_a_volume(report, location.path)) {
            return location.text + " was not taken along (--file " + shell_quoted(location.text) + ")";
        }
    }
    return "";
}

std::string missing_bom_file(const platform& machine, const taken& from) {
    recorded_platform recording(machine);
    if (!ok(recording.load(from.request.directory))) {
        return recording.problem();
    }
    validation_state state(recording.services());
    state.config = from.report.config.value_or(KxlConfig());
    run_stage(SLOT_CONNECTION, state);
    run_stage(SLOT_RETRIEVE_PMF, state);
    state.link.close();
    return state.pmf ? missing_bom_file(*state.pmf, from.report) : "";
}

// The stages -------------------------------------------------------------------------------------------------------

using reasons = std::array<std::string, stage_count>;

std::string missing_stage(stage_set asked, const reasons& why) {
    for (const auto& row : stage_rows()) {
        if ((asked & slots(row.slot)) != 0 && !why[row.slot].empty()) {
            return "\"" + std::string(row.name) + "\" cannot be judged";
        }
    }
    return "";
}

reasons missing_inputs(const platform& machine, const taken& from) {
    reasons why;
    for (const input& row : inputs) {
        if (why[row.slot].empty()) {
            why[row.slot] = row.missing(from, row.name);
        }
    }
    if (why[SLOT_DISK_MEASUREMENTS].empty()) {
        why[SLOT_DISK_MEASUREMENTS] = missing_bom_file(machine, from);
    }
    return why;
}

}  // namespace

std::vector<unjudged_stage> unjudged_stages(const platform& machine, const capture_request& request,
                                            const capture_report& report) {
    set_console_threshold(log_level::off);
    reasons why = missing_inputs(machine, {request, report});
    std::vector<unjudged_stage> stages;
    for (const auto& row : stage_rows()) {
        if (const std::string missing = missing_stage(row.needs | row.uses, why); !missing.empty()) {
            why[row.slot] = missing;
        }
        if (!why[row.slot].empty()) {
            stages.push_back({row.name, why[row.slot]});
        }
    }
    return stages;
}

}  // namespace vellum::reporting
