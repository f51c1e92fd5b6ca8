// What a run on a recorded device takes from the recording where it could be the verifier's own.
#pragma once

#include "app/validation_state.h"
#include "report/record.h"

namespace vellum::reporting {

// What else than signed evidence stages are judged by.
enum judged_by : unsigned {
    nothing_else = 0,
    dates = 1U << 0,
    configuration = 1U << 1,
    reference_log = 1U << 2,
    identity_file = 1U << 3,      // of a seal of trusted level 3
    certificate_files = 1U << 4,  // trusted and intermediate ones, and that of the PMF's signer
    whole_log = 1U << 5,          // the events of all PCRs, compared or not
};

// Those that are the device's word: a file that lies in the recording, is reached through it, or is named after what
// SMBIOS says; the clock of the recording; a log that does not replay to all that the TPM holds.
unsigned words_of_device(const validation_state& state, const run_record& record);

// The PCRs to whose values the log does not replay, as a mask. Of one without events zeros are right, too.
std::uint32_t pcrs_beside_log(const run_record& record);

}  // namespace vellum::reporting
