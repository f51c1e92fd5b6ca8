// What is needed of the TPM of the running machine: the event log of this boot and the values of its PCRs, through
// the TPM service's library. Each operation loads the library, opens a context, and gives both back before it
// returns.
//
// Reasons of a failure are reported; the system's text for it is logged at error. A log that is empty or finds no
// memory is logged at debug alone.
#pragma once

#include <cstdint>
#include <vector>

#include "base/result.h"
#include "core/pcr.h"
#include "platform/tpm_library.h"

namespace vellum {

// The whole log, as the firmware wrote it. Fails with io_failure; `out` is empty then.
result load_tpm_log_via_tbs(tpm_library& library, std::vector<std::uint8_t>& out);

// The SHA-256 values of PCRs 0 to 23; a PCR that the TPM reports no value for keeps the one it has. Fails with
// io_failure; `out` is unchanged then.
result read_pcrs_via_tbs(tpm_library& library, pcr_value_list& out);

}  // namespace vellum
