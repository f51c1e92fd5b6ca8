// Why a stage does not run, beyond the stages it needs. A rule that has a reason to tell pushes or logs it.
#pragma once

#include "app/validation_state.h"

namespace vellum {

// The user asked to leave it out.
bool pcrs_not_wanted(const validation_state& state);
bool tpm_log_not_wanted(const validation_state& state);

// The user asked to leave it out, or it is to come from firmware that cannot be reached.
bool pmf_not_wanted_or_out_of_reach(const validation_state& state);

bool live_log_missing(const validation_state& state);
bool reference_log_not_given(const validation_state& state);

// PCRs or log are missing, or the log is from a file and so of another boot than the PCRs. Says first which PCRs
// would be compared.
bool log_beyond_comparison(const validation_state& state);

// The log was held against the PCRs and differs, or could not be held against them although the user wanted it.
bool log_untrusted(const validation_state& state);
bool log_untrusted_or_seal_data_missing(const validation_state& state);
bool log_untrusted_or_gpt_data_missing(const validation_state& state);

bool seal_event_or_separator_missing(const validation_state& state);
bool seal_log_out_of_reach(const validation_state& state);
bool ironwall_not_wanted_or_log_untrusted(const validation_state& state);

}  // namespace vellum
