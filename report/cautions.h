// What passed and still deserves a word. A caution changes neither verdict nor exit code.
#pragma once

#include <cstdint>

#include "app/validation_state.h"
#include "report/record.h"

namespace vellum::reporting {

// Adds every caution that the state and the record, which is filled from it, give reason for. `now` is the run's.
void add_cautions(const validation_state& state, std::int64_t now, run_record& out);

}  // namespace vellum::reporting
