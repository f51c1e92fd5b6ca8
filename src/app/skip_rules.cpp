#include "app/skip_rules.h"

#include "app/compared_pcrs.h"
#include "app/stages.h"
#include "core/findings.h"
#include "tpm/pcr5_checks.h"
#include "tpm/pcr_checks.h"

namespace vellum {

bool pcrs_not_wanted(const validation_state& state) {
    return state.skip_retrieving_pcrs;
}

bool tpm_log_not_wanted(const validation_state& state) {
    return state.skip_retrieving_tpm_event_log;
}

bool pmf_not_wanted_or_out_of_reach(const validation_state& state) {
    return state.skip_retrieving_platform_measurements || (!state.pmf_file && !state.stages.passed(SLOT_CONNECTION));
}

bool live_log_missing(const validation_state& state) {
    if (state.stages.passed(SLOT_RETRIEVE_TPM_LOG) && state.live_log) {
        return false;
    }
    log_at(log_level::info, "Skipping stage due to not retrieved TPM Log.");
    return true;
}

bool reference_log_not_given(const validation_state& state) {
    if (state.reference_log) {
        return false;
    }
    log_to_file(log_level::info, "Hiding %s stage due to not provided Reference TPM Log.", reference_log_stage_name);
    return true;
}

bool log_beyond_comparison(const validation_state& state) {
    announce_log_pcr_mask(selected_pcrs(state));
    if (!state.stages.all_passed(slots(SLOT_RETRIEVE_PCRS, SLOT_RETRIEVE_TPM_LOG))) {
        return true;
    }
    if (state.log_source != live_log_source::file) {
        return false;
    }
    report("log-from-file"_id, "Skipping due to TPM Event Log provided from file.");
    return true;
}

bool log_untrusted(const validation_state& state) {
    const stage_state compared = state.stages.states[SLOT_LOG_MATCHES_PCRS];
    if (compared == STAGE_FAILED) {
        report("log-untrusted"_id, "Skipping stage due to untrusted TPM Event Log");
        return true;
    }
    return compared == STAGE_SKIPPED && state.log_source != live_log_source::file && !state.skip_retrieving_pcrs;
}

bool log_untrusted_or_seal_data_missing(const validation_state& state) {
    return log_untrusted(state) || state.pcr5.seal_data.empty();
}

bool log_untrusted_or_gpt_data_missing(const validation_state& state) {
    return log_untrusted(state) || state.pcr5.gpt_data.empty();
}

bool seal_event_or_separator_missing(const validation_state& state) {
    return !can_check_pre_os_seal(state.pcr5);
}

bool seal_log_out_of_reach(const validation_state& state) {
    if (state.stages.all_passed(slots(SLOT_FEATURE_STATE, SLOT_FEATURE_ACTIVE))) {
        return false;
    }
    log_at(log_level::debug, "Dependent stages: 'Feature Get State' or 'KVR feature is active' failed.");
    return true;
}

bool ironwall_not_wanted_or_log_untrusted(const validation_state& state) {
    return state.skip_iwl_validation || !state.stages.passed(SLOT_RETRIEVE_TPM_LOG) || log_untrusted(state);
}

}  // namespace vellum
