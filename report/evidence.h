// The evidence in a recording: the quote of its TPM and what it is about, and which stages of a validation rest on
// it.
#pragma once

#include <string>

#include "report/record.h"
#include "tpm/attestation/evidence.h"

namespace vellum::reporting {

// The files of a quote in the recording, each read once. One that lies elsewhere or is too large counts as missing.
evidence_files read_evidence(const std::string& recording);

// Marks each stage that judged something with what it rests on: "signed" when all that it looks at was signed by the
// TPM, itself or as a digest that was compared before, or was given by who verifies; "device" when a part of it is
// the device's word. Marks nothing where no evidence was accepted.
void mark_what_is_proved(run_record& record);

}  // namespace vellum::reporting
