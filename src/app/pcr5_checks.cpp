// The stages that hold the events of PCR[5] against what firmware and PMF say now.
#include "app/checks.h"
#include "core/findings.h"
#include "disk/gpt.h"
#include "disk/partitions.h"
#include "firmware/seal_config.h"
#include "tpm/pcr5_stages.h"

namespace vellum {

stage_outcome check_pcr5_events(validation_state& state) {
    return validate_pcr5_events(*state.live_log, state.pcr5);
}

stage_outcome check_seal_event_order(validation_state& state) {
    return check_pre_os_seal(state.pcr5);
}

stage_outcome match_seal_log_with_event(validation_state& state) {
    return match_seal_log_hash(state.seal_log->record_bytes, state.pcr5.seal_data);
}

stage_outcome match_partitions_with_event(validation_state& state) {
    PMF::DiskMetadataFileExtension metadata;
    gpt_partitions partitions;
    return pass_if(ok(get_pmf_extension(*state.pmf, metadata)) &&
                   ok(build_gpt_partition_list(state.pcr5.gpt_data, partitions)) &&
                   ok(compare_gpt_partitions(partitions, metadata)));
}

stage_outcome match_seal_config_with_event(validation_state& state) {
    seal_flag_record sealed;
    std::uint16_t actual = 0;
    std::uint16_t expected = 0;
    if (!read_seal_flags(sealed_configuration(state.pcr5.seal_data), sealed)) {
        return failed();
    }
    if (!ok(ini_seal_config_to_word(state.seal_config->flags, actual)) ||
        !ok(ini_seal_config_to_word(sealed, expected))) {
        note_sealed_options(state.seal_config->flags, sealed);
        return failed();
    }
    const int mismatches = compare_seal_config_words(actual, "Actual", expected, "Expected");
    if (mismatches != 0) {
        report("seal-config-differs-from-event"_id,
               "Could not match %d Seal Configuration %s with reference values from TPM event.", mismatches,
               mismatches == 1 ? "option" : "options")
            .field("expected", expected)
            .field("expected_source", "TPM Log")
            .field("actual", actual);
    }
    return pass_if(mismatches == 0);
}

}  // namespace vellum
