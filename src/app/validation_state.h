// What one run knows: its options, what its stages retrieved, and how each stage ended. Zero at the start; an item is
// absent until the stage that retrieves it has passed, and is released with the state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/stage.h"
#include "platform/tpm_library.h"
#include "tpm/event_log.h"
#include "tpm/log_source.h"

namespace vellum {

struct validation_state {
    tpm_library* tpm = nullptr;  // of the machine; set before the first stage

    bool skip_retrieving_tpm_event_log = false;

    live_log_source log_source = live_log_source::this_boot;
    std::string tpm_event_log_file;      // for the file source
    std::string reference_tpm_log_file;  // empty: none given
    std::uint32_t pcr_mask = all_pcrs;   // the PCRs that are compared with the reference log

    std::optional<tpm_events_chains> live_log;
    std::optional<tpm_events_chains> reference_log;
    pcr_value_list live_log_pcrs{};  // replayed from the live log

    stage_table stages;
};

}  // namespace vellum
