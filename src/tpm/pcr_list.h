// Lists of PCR values, and the text of a PCR mask.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "core/pcr.h"
#include "tpm/event_log.h"

namespace vellum {

// The value that the log predicts for each PCR: that of its chain's last event, or its reset value.
pcr_value_list replay_pcrs_from_log(const tpm_events_chains& chains);

// Logs "PCR[nn]: VALUE" for each PCR at debug.
void print_pcr_list(const pcr_value_list* list);

// The selected PCR numbers in ascending order, joined by ",", zero-terminated. Fails with io_failure when the text
// does not fit; `out` is untouched then.
result pcr_mask_to_list(std::uint32_t mask, std::span<char> out);

}  // namespace vellum
