// The stages that hold the events of PCR[5] against what firmware and PMF say now.
#include "tpm/pcr5_checks.h"
#include "app/checks.h"
#include "disk/gpt.h"
#include "disk/partitions.h"
#include "firmware/seal_config.h"

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

}  // namespace vellum
