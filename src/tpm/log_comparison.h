// Comparison of a reference event log (a known-good boot) with the live one, PCR by PCR and event by event.
//
// A PCR's walk ends at its first difference; the other PCRs are still compared. Informational (EV_NO_ACTION) events
// that only one log has, and events of equal effect but different types, are warnings. Reports are findings.
// Neither log is changed.
#pragma once

#include <cstdint>

#include "core/stage.h"
#include "tpm/event_log.h"

namespace vellum {

inline constexpr const char* reference_log_stage_name = "TPM Log matches Reference TPM Log";

// Compares the PCRs that the mask selects, in ascending order. The flags are only ever raised, never cleared.
void compare_tpm_log_chains(const tpm_events_chains& live, const tpm_events_chains& reference, std::uint32_t pcr_mask,
                            bool& error_occurred, bool& warning_occurred);

// The check of the stage: its display name lists the compared PCRs.
stage_outcome compare_reference_tpm_log(const tpm_events_chains& live, const tpm_events_chains& reference,
                                        std::uint32_t pcr_mask);

}  // namespace vellum
