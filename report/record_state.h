// Takes over into a record what a run has retrieved.
#pragma once

#include "app/validation_state.h"
#include "report/record.h"

namespace vellum::reporting {

// Everything that the state holds: device, inputs, PCRs, events, partitions, certificates. What was not retrieved
// stays empty. Nothing is printed; findings may be raised, which are nobody's.
void record_state(const validation_state& state, run_record& out);

// Its part that comes from the event logs.
void record_log(const validation_state& state, run_record& out);

}  // namespace vellum::reporting
