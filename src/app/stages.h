// The stages of a validation as data. The runner in core/stage.h does the rest.
#pragma once

#include <span>

#include "app/validation_state.h"

namespace vellum {

// A stage's slot in the state table.
enum stage_slot : std::size_t {
    SLOT_CONNECTION = 0,
    SLOT_FEATURE_STATE = 1,
    SLOT_SEAL_CONFIG = 2,
    SLOT_SEAL_CONFIG_MATCH = 3,
    SLOT_FEATURE_ACTIVE = 4,
    SLOT_SEAL_INTACT = 5,
    SLOT_SEAL_SIGNATURE = 6,
    SLOT_SEAL_LOG = 7,
    SLOT_RETRIEVE_PCRS = 8,
    SLOT_RETRIEVE_TPM_LOG = 9,
    SLOT_LOG_MATCHES_PCRS = 10,
    SLOT_RETRIEVE_PMF = 11,
    SLOT_PMF_HASH = 12,
    SLOT_PMF_TRUST = 13,
    SLOT_PCRS_MATCH_PMF = 14,
    SLOT_PRE_OS_SEAL = 15,
    SLOT_SEAL_LOG_HASH = 16,
    SLOT_SEALED_CONFIG = 17,
    SLOT_PARTITIONS = 18,
    SLOT_DISK_MEASUREMENTS = 19,
    SLOT_PLATFORM_INFO = 20,
    SLOT_SYSTEM_INFO = 21,
    SLOT_SEALED_DEVICE_ID = 22,
    SLOT_DEVICE_ID = 23,
    SLOT_IRONWALL = 24,
    SLOT_PCR5_EVENTS = 25,
    SLOT_REFERENCE_LOG = 26,
};

// The stages in the order in which they run.
std::span<const stage_row<validation_state>> stage_rows();

// Runs every stage in its order.
void run_all_stages(validation_state& state);

// Runs the stage of a slot. A slot without a row is a program error: it is logged and left as it is.
void run_stage(std::size_t slot, validation_state& state);

// Prints the summary and returns the exit code.
int conclude(const validation_state& state);

}  // namespace vellum
