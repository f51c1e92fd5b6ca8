#include "app/skip_rules.h"

#include "app/stages.h"
#include "tpm/pcr5_stages.h"

namespace vellum {

skip_verdict pcrs_not_wanted(const validation_state& state) {
    return skip_if(state.options.skip_retrieving_pcrs);
}

skip_verdict tpm_log_not_wanted(const validation_state& state) {
    return skip_if(state.options.skip_retrieving_tpm_event_log);
}

skip_verdict pmf_not_wanted_or_out_of_reach(const validation_state& state) {
    return skip_if(state.options.skip_retrieving_platform_measurements ||
                   (!state.pmf_file && !state.stages.passed(SLOT_CONNECTION)));
}

skip_verdict live_log_missing(const validation_state& state) {
    if (state.stages.passed(SLOT_RETRIEVE_TPM_LOG) && state.live_log) {
        return std::nullopt;
    }
    return skip_reason{"Skipping stage due to not retrieved TPM Log.", std::nullopt, log_level::info};
}

skip_verdict reference_log_not_given(const validation_state& state) {
    if (state.reference_log) {
        return std::nullopt;
    }
    return skip_reason{"Hiding TPM Log matches Reference TPM Log stage due to not provided Reference TPM Log.",
                       std::nullopt, log_level::info};
}

skip_verdict log_beyond_comparison(const validation_state& state) {
    if (!state.stages.all_passed(slots(SLOT_RETRIEVE_PCRS, SLOT_RETRIEVE_TPM_LOG))) {
        return skip_reason();
    }
    if (state.log_source != live_log_source::file) {
        return std::nullopt;
    }
    return skip_reason{"Skipping due to TPM Event Log provided from file.", "log-from-file"_id, log_level::off};
}

skip_verdict log_untrusted(const validation_state& state) {
    const stage_state compared = state.stages.states[SLOT_LOG_MATCHES_PCRS];
    if (compared == STAGE_FAILED) {
        return skip_reason{"Skipping stage due to untrusted TPM Event Log", "log-untrusted"_id, log_level::off};
    }
    return skip_if(compared == STAGE_SKIPPED && state.log_source != live_log_source::file &&
                   !state.options.skip_retrieving_pcrs);
}

skip_verdict log_untrusted_or_seal_data_missing(const validation_state& state) {
    const skip_verdict untrusted = log_untrusted(state);
    return untrusted ? untrusted : skip_if(state.pcr5.seal_data.empty());
}

skip_verdict log_untrusted_or_gpt_data_missing(const validation_state& state) {
    const skip_verdict untrusted = log_untrusted(state);
    return untrusted ? untrusted : skip_if(state.pcr5.gpt_data.empty());
}

skip_verdict seal_event_or_separator_missing(const validation_state& state) {
    return skip_if(!can_check_pre_os_seal(state.pcr5));
}

skip_verdict seal_log_out_of_reach(const validation_state& state) {
    if (state.stages.all_passed(slots(SLOT_FEATURE_STATE, SLOT_FEATURE_ACTIVE))) {
        return std::nullopt;
    }
    return skip_reason{"Dependent stages: 'Feature Get State' or 'KVR feature is active' failed.", std::nullopt,
                       log_level::debug};
}

skip_verdict ironwall_not_wanted_or_log_untrusted(const validation_state& state) {
    if (state.options.skip_iwl_validation || !state.stages.passed(SLOT_RETRIEVE_TPM_LOG)) {
        return skip_reason();
    }
    return log_untrusted(state);
}

}  // namespace vellum
