// The checks of the stages: each takes what earlier stages left in the state, calls the room that owns the matter,
// and returns the outcome. None prints a result line. Two stages have more to say than their outcome.
#pragma once

#include "app/validation_state.h"

namespace vellum {

// firmware_checks.cpp
stage_outcome open_connection(validation_state& state);
stage_outcome retrieve_feature_state(validation_state& state);
stage_outcome retrieve_seal_config(validation_state& state);
stage_outcome check_feature_active(validation_state& state);
stage_outcome check_seal_intact(validation_state& state);
stage_outcome match_seal_config(validation_state& state);

// seal_checks.cpp
stage_outcome check_seal_signature(validation_state& state);
stage_outcome check_seal_log(validation_state& state);
stage_outcome retrieve_sealed_device_id(validation_state& state);
stage_outcome check_device_id(validation_state& state);

// pmf_checks.cpp
stage_outcome retrieve_pmf(validation_state& state);
stage_outcome check_pmf_hash(validation_state& state);
stage_outcome check_pmf_trust(validation_state& state);
stage_outcome retrieve_platform_info(validation_state& state);
stage_outcome match_system_info(validation_state& state);
stage_outcome check_boot_disk(validation_state& state);

// tpm_checks.cpp
stage_outcome retrieve_tpm_pcrs(validation_state& state);
stage_outcome retrieve_tpm_log(validation_state& state);
stage_outcome match_reference_log(validation_state& state);
stage_outcome match_log_with_tpm(validation_state& state);
stage_outcome match_tpm_with_pmf(validation_state& state);
stage_outcome check_ironwall(validation_state& state);

// tpm_checks.cpp, beside the checks: which PCRs would be compared, the note of a log that was skipped, and the lines
// after a comparison's result.
void announce_compared_pcrs(const validation_state& state);
std::string tpm_log_note(const validation_state& state);
void print_compared_logs(const validation_state& state, const stage_outcome& outcome);

// pcr5_checks.cpp
stage_outcome check_pcr5_events(validation_state& state);
stage_outcome check_seal_event_order(validation_state& state);
stage_outcome match_seal_log_with_event(validation_state& state);
stage_outcome match_seal_config_with_event(validation_state& state);
stage_outcome match_partitions_with_event(validation_state& state);

}  // namespace vellum
