#include "app/stages.h"

#include "tpm/log_comparison.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

// Retrieve TPM Event Log ----------------------------------------------------------------------------------------

bool skip_tpm_log(const validation_state& state) {
    return state.skip_retrieving_tpm_event_log;
}

std::string tpm_log_note(const validation_state& state) {
    return state.log_source == live_log_source::file ? "from file" : "";
}

stage_outcome retrieve_tpm_log(validation_state& state) {
    stage_outcome outcome;
    outcome.note = tpm_log_note(state);
    if (missing_parameter(state.tpm, "tpm") ||
        !ok(load_tpm_log(*state.tpm, state.log_source, &state.tpm_event_log_file, state.live_log))) {
        return outcome;
    }
    log_at(log_level::info, "Retrieving PCRs from live TPM Log.");
    state.live_log_pcrs = replay_pcrs_from_log(*state.live_log);
    log_at(log_level::debug, "PCRs fetched from TPM Log:");
    print_pcr_list(&state.live_log_pcrs);
    outcome.verdict = verdict::passed;
    return outcome;
}

// TPM Log matches Reference TPM Log -----------------------------------------------------------------------------

bool hide_reference_log(const validation_state& state) {
    if (state.reference_log) {
        return false;
    }
    log_to_file(log_level::info, "Hiding %s stage due to not provided Reference TPM Log.", reference_log_stage_name);
    return true;
}

bool skip_reference_log(const validation_state& state) {
    if (state.stages.passed(SLOT_RETRIEVE_TPM_LOG) && state.live_log) {
        return false;
    }
    log_at(log_level::info, "Skipping stage due to not retrieved TPM Log.");
    return true;
}

stage_outcome check_reference_log(validation_state& state) {
    return compare_reference_tpm_log(*state.live_log, *state.reference_log, state.pcr_mask);
}

// The sources belong to a comparison; a stage whose name could not be made compared nothing.
void after_reference_log(const validation_state& state, const stage_outcome& outcome) {
    if (!outcome.display_name.empty()) {
        print_log_sources(state.log_source, state.tpm_event_log_file, state.reference_tpm_log_file);
    }
}

constexpr stage_row<validation_state> rows[] = {
    {.slot = SLOT_RETRIEVE_TPM_LOG,
     .name = "Retrieve TPM Event Log",
     .skipped = skip_tpm_log,
     .check = retrieve_tpm_log,
     .skip_note = tpm_log_note},
    {.slot = SLOT_REFERENCE_LOG,
     .name = reference_log_stage_name,
     .skipped = skip_reference_log,
     .check = check_reference_log,
     .order = flush_order::oldest_first,
     .hidden = hide_reference_log,
     .after = after_reference_log},
};

}  // namespace

void run_stage(std::size_t slot, validation_state& state) {
    for (const auto& row : rows) {
        if (row.slot == slot) {
            run_stage(row, state, state.stages);
            return;
        }
    }
    log_at(log_level::error, "There is no stage in slot %zu.", slot);
}

}  // namespace vellum
