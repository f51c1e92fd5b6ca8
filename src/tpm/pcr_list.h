// Lists of PCR values.
#pragma once

#include "core/pcr.h"
#include "tpm/event_log.h"

namespace vellum {

// The value that the log predicts for each PCR: that of its chain's last event, or its reset value.
pcr_value_list replay_pcrs_from_log(const tpm_events_chains& chains);

// Logs "PCR[nn]: VALUE" for each PCR at debug.
void print_pcr_list(const pcr_value_list& list);

}  // namespace vellum
