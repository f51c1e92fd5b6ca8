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

result read_pmf_bytes(validation_state& state, std::vector<std::uint8_t>& out) {
    if (!state.pmf_file) {
        const result fetched = get_pmf(state.firmware, out);
        if (!ok(fetched)) {
            report("pmf-not-fetched"_id, "Could not to fetch Platform Measurements File from Orbis.");
        }
        return fetched;
    }
    const std::string path = shown_text(*state.pmf_file);
    log_at(log_level::info, "Retrieveing Platform Measurements File from file \"%s\"...\n", path.c_str());
    const result loaded = load_pmf_file(*state.pmf_file, out);
    if (!ok(loaded)) {
        report("pmf-file-unreadable"_id, "Could not read Platform Measurements File from file \"%s\"...",
               path.c_str())
            .field("file", *state.pmf_file);
    }
    return loaded;
}

}  // namespace

stage_outcome retrieve_pmf(validation_state& state) {
    std::vector<std::uint8_t>& bytes = state.pmf_bytes;
    std::optional<PmfDocument> document;
    if (!ok(read_pmf_bytes(state, bytes))) {
        return failed();
    }
    if (!ok(parse_pmf(bytes, document))) {
        report("pmf-unparsable"_id, "Parsing PMF content failed.");
        return failed();
    }
    if (!ok(read_pmf_pcrs(*document, state.pmf_pcrs))) {
        report("pmf-pcrs-unreadable"_id, "An error occured while retreiving PCRs from Platform Measurements File.");
        return failed();
    }
    if (!ok(pmf_digest(bytes, state.pmf_digest))) {
        report("pmf-not-hashed"_id, "An error occured while computing Platform Measurements File digest.");
        return failed();
    }
    state.pmf = std::move(document);
    return passed();
}

stage_outcome check_pmf_hash(validation_state& state) {
    if (!ok(compare_pmf_hash_with_seal_log(*state.seal_log, state.pmf_digest))) {
        return failed();
    }
    return pass_or_warn(!ok(run_strict_rules(*state.pmf)));
}

stage_outcome check_pmf_trust(validation_state& state) {
    const pmf_trust_settings settings = {
        .signing_enabled = state.config.seal.flags.pmf_signing != 0,
        .trusted_ca_dir = state.config.trusted_ca_dir,
        .intermediate_ca_dir = state.config.intermediate_ca_dir,
        .external_certificate_path = state.config.pmf_external_certificate_path,
    };
    pmf_trust trust;
    const result held = verify_pmf_trust(*state.pmf, settings, state.machine.directories, state.machine.time, trust);
    state.pmf_chain = std::move(trust.chain);
    return ok(held) ? pass_or_warn(trust.warned) : failed();
}

stage_outcome retrieve_platform_info(validation_state& state) {
    return read_platform_info(state.machine.tables, state.machine.os, state.smbios, state.os_version);
}

stage_outcome match_system_info(validation_state& state) {
    PMF::SystemInfoExtension expected;
    if (!ok(get_pmf_extension(*state.pmf, expected))) {
        return failed();
    }
    return check_system_info(expected, state.smbios, state.os_version);
}

stage_outcome check_boot_disk(validation_state& state) {
    PMF::DiskMetadataFileExtension metadata;
    if (!ok(get_pmf_extension(*state.pmf, metadata))) {
        return failed();
    }
    return check_disk_measurements(state.machine.boot_disk, metadata,
                                   state.config.bom_location_volume_letter_mismatch_allowed, state.disk_table);
}

}  // namespace vellum
