// The checks that the PCR values of the TPM, the event log and the PMF tell the same story, and the check of a single
// event's digest. Findings are reported; a value prints as 64 lower-case hexadecimal digits.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "core/pcr.h"
#include "core/stage.h"
#include "platform/tpm_library.h"
#include "pmf/format.h"
#include "tpm/event_log.h"

namespace vellum {

// Compares all PCRs that the mask selects: check_failed when any differs, each with three reported lines.
result compare_pcr_lists(const pcr_value_list& current, const pcr_value_list& expected, const char* current_source,
                         const char* expected_source, std::uint32_t mask);

// Whether the SHA-256 of the event's data equals its digest. If not, its data is dumped at error.
bool check_event_digest(const tpm_event& event);

// "Retrieve PCRs from TPM".
stage_outcome retrieve_pcrs(tpm_library& tpm, pcr_value_list& out);

// "TPM Event Log matches PCR values": the mask that is used has PCR 0 and PCR 5 added. It is announced at info when
// the stage starts, so also by one that is then skipped: announce_log_pcr_mask belongs at the head of the skip rule.
void announce_log_pcr_mask(std::uint32_t mask);
stage_outcome match_log_with_pcrs(const pcr_value_list& tpm, const pcr_value_list& log, std::uint32_t mask);

// "PCR values match PMF": the display name lists the PCRs that the PMF expects values of.
stage_outcome match_pcrs_with_pmf(const pcr_value_list& tpm, const PmfDocument& pmf);

}  // namespace vellum
