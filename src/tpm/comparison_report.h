// The texts of the log comparison. Each is a finding, whose lines are in reading order.
#pragma once

#include <cstddef>

#include "tpm/event_log.h"

namespace vellum {

enum class log_side { live, reference };

// A cursor over one chain: position 0 is the head, which takes part in the walk as a pseudo-event of type 0.
struct chain_cursor {
    const tpm_event_chain* chain;
    log_side side;
    std::size_t position = 0;

    // The event under the cursor; null past the end.
    const tpm_event* event() const { return chain->at(position); }
};

// Both final values of the PCR; two empty lines come first when an earlier PCR has a report.
void report_pcr_header(const tpm_event_chain& live, const tpm_event_chain& reference, bool earlier_reports);

void report_first_difference(const chain_cursor& live, const chain_cursor& reference);
void report_informational_event(const chain_cursor& cursor);
void report_type_difference(const chain_cursor& live, const chain_cursor& reference);

}  // namespace vellum
