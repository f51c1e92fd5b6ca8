// A recorded device whose TPM signed what is validated: the evidence is judged first, and validated is what it
// proves.
#pragma once

#include "platform/platform.h"
#include "report/identity.h"
#include "report/run_request.h"

namespace vellum::reporting {

// Verifies the recording that the request names and writes the reports. Returns the exit code: that of vellum when
// the evidence is accepted, evidence_refused when it is not or the recording cannot be read, usage_error when there
// is none.
int verify_recording(const verify_request& request, const device_identity& identity, const platform& native);

}  // namespace vellum::reporting
