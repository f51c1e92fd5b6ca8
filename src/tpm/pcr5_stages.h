// The checks of the stages that rest on the events of PCR[5].
#pragma once

#include "core/stage.h"
#include "tpm/pcr5_events.h"

namespace vellum {

// "Validate TPM Log Events from PCR[5]". `out` keeps what was found and passed, also when the stage fails.
stage_outcome validate_pcr5_events(const tpm_events_chains& chains, pcr5_events& out);

// "Seal TPM Event measured in Pre-OS environment", and whether its inputs are there.
bool can_check_pre_os_seal(const pcr5_events& events);
stage_outcome check_pre_os_seal(const pcr5_events& events);

// "Seal Log hash matches Seal Log hash in PCR[5]": the seal log's records against accepted seal data.
stage_outcome match_seal_log_hash(byte_view seal_log_records, byte_view seal_data);

}  // namespace vellum
