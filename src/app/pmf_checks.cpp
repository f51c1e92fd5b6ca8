// The stages that retrieve the PMF and the platform's facts, and hold them against each other.
#include "app/checks.h"
#include "base/text.h"
#include "core/findings.h"
#include "disk/measurements.h"
#include "pmf/parser.h"
#include "pmf/rules.h"
#include "pmf/trust.h"

namespace vellum {
namespace {

result fail_with(const char* text, result reason) {
    static_cast<void>(push_message("%s", text));
    return reason;
}

result read_pmf_bytes(validation_state& state, std::vector<std::uint8_t>& out) {
    if (!state.pmf_file) {
        const result fetched = get_pmf(state.firmware, out);
        return ok(fetched) ? fetched
                           : fail_with("Could not to fetch Platform Measurements File from Orbis.", fetched);
    }
    const std::string path = shown_text(*state.pmf_file);
    log_at(log_level::info, "Retrieveing Platform Measurements File from file \"%s\"...\n", path.c_str());
    const result loaded = load_pmf_file(*state.pmf_file, out);
    if (!ok(loaded)) {
        static_cast<void>(
            push_message("Could not read Platform Measurements File from file \"%s\"...", path.c_str()));
    }
    return loaded;
}

}  // namespace

stage_outcome retrieve_pmf(validation_state& state) {
    std::vector<std::uint8_t> bytes;
    std::optional<PmfDocument> document;
    if (!ok(read_pmf_bytes(state, bytes))) {
        return {};
    }
    result done = parse_pmf(bytes, document);
    if (!ok(done)) {
        static_cast<void>(fail_with("Parsing PMF content failed.", done));
        return {};
    }
    done = read_pmf_pcrs(*document, state.pmf_pcrs);
    if (!ok(done)) {
        static_cast<void>(fail_with("An error occured while retreiving PCRs from Platform Measurements File.", done));
        return {};
    }
    done = pmf_digest(bytes, state.pmf_digest);
    if (!ok(done)) {
        static_cast<void>(fail_with("An error occured while computing Platform Measurements File digest.", done));
        return {};
    }
    state.pmf = std::move(document);
    return pass_if(true);
}

stage_outcome check_pmf_hash(validation_state& state) {
    if (!ok(compare_pmf_hash_with_seal_log(*state.seal_log, state.pmf_digest))) {
        return {};
    }
    return {passed_or_warned(!ok(run_strict_rules(*state.pmf))), "", ""};
}

stage_outcome check_pmf_trust(validation_state& state) {
    const pmf_trust_settings settings = {
        .signing_enabled = state.config.seal.flags.pmf_signing != 0,
        .trusted_ca_dir = state.config.trusted_ca_dir,
        .intermediate_ca_dir = state.config.intermediate_ca_dir,
        .external_certificate_path = state.config.pmf_external_certificate_path,
    };
    bool warned = false;
    if (!ok(verify_pmf_trust(*state.pmf, settings, state.machine.directories, warned))) {
        return {};
    }
    return {passed_or_warned(warned), "", ""};
}

stage_outcome retrieve_platform_info(validation_state& state) {
    return retrieve_platform_info(state.machine.tables, state.machine.os_version, state.smbios, state.os_version);
}

stage_outcome match_system_info(validation_state& state) {
    PMF::SystemInfoExtension expected;
    if (!ok(get_pmf_extension(*state.pmf, expected))) {
        return {};
    }
    return check_system_info(expected, state.smbios, state.os_version);
}

stage_outcome check_boot_disk(validation_state& state) {
    PMF::DiskMetadataFileExtension metadata;
    if (!ok(get_pmf_extension(*state.pmf, metadata))) {
        return {};
    }
    return check_disk_measurements(state.machine.disk, metadata,
                                   state.config.bom_location_volume_letter_mismatch_allowed);
}

}  // namespace vellum
