// The stages of a validation as data. The runner in core/stage.h does the rest.
#pragma once

#include "app/validation_state.h"

namespace vellum {

// A stage's slot in the state table.
enum stage_slot : std::size_t {
    SLOT_RETRIEVE_TPM_LOG = 9,
    SLOT_REFERENCE_LOG = 26,
};

// Runs the stage of a slot. A slot without a row is a program error: it is logged and left as it is.
void run_stage(std::size_t slot, validation_state& state);

}  // namespace vellum
