// All events of a log in memory, to be set beside those of another one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/result.h"
#include "tpm/event_log_reader.h"

namespace vellum {

// Views the log, and lives as long as it does.
struct event_sequence {
    log_format format = log_format::legacy_sha1;
    std::vector<std::uint16_t> banks;  // TPM_ALG_ID of each, ascending
    // In log order, the Spec ID event first if there is one. An event's digests stand in the order of their banks.
    std::vector<logged_event> events;
    bool has_spec_id = false;
    // Where the last event ends, and what keeps the bytes behind it from being events. A flaw in nothing but the
    // filling of a larger area is none.
    std::size_t end = 0;
    log_flaw flaw = log_flaw::none;
    std::size_t left_over = 0;  // bytes, without filling

    // As it is counted everywhere: 1 for the first event behind the Spec ID event, which is 0.
    std::size_t position_of(std::size_t index) const { return has_spec_id ? index : index + 1; }
};

// Reads as many events as can be read. Fails as event_log_reader::open() does, with the flaw set where no text was
// reported.
result read_events(byte_view log, event_sequence& out);

}  // namespace vellum
