// Why a stage does not run, beyond the stages it needs. A rule says nothing itself: it returns its reason.
#pragma once

#include "app/validation_state.h"

namespace vellum {

// The user asked to leave it out.
skip_verdict pcrs_not_wanted(const validation_state& state);
skip_verdict tpm_log_not_wanted(const validation_state& state);

// The user asked to leave it out, or it is to come from firmware that cannot be reached.
skip_verdict pmf_not_wanted_or_out_of_reach(const validation_state& state);

skip_verdict live_log_missing(const validation_state& state);
skip_verdict reference_log_not_given(const validation_state& state);

// PCRs or log are missing, or the log is from a file and so of another boot than the PCRs.
skip_verdict log_beyond_comparison(const validation_state& state);

// The log was held against the PCRs and differs, or could not be held against them although the user wanted it.
skip_verdict log_untrusted(const validation_state& state);
skip_verdict log_untrusted_or_seal_data_missing(const validation_state& state);
skip_verdict log_untrusted_or_gpt_data_missing(const validation_state& state);

skip_verdict seal_event_or_separator_missing(const validation_state& state);
skip_verdict seal_log_out_of_reach(const validation_state& state);
skip_verdict ironwall_not_wanted_or_log_untrusted(const validation_state& state);

}  // namespace vellum
