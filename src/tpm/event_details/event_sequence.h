// All events of a log in memory, to be set beside those of another one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/result.h"
#include "tpm/event_log_reader.h"

namespace vellum {

// No firmware writes as much. Events that are held beside each other take many times the room of their logs.
inline constexpr std::size_t max_compared_log = std::size_t{16} * 1024 * 1024;

// Views the log, and lives as long as it does.
struct event_sequence {
    log_format format = log_format::legacy_sha1;
    std::vector<std::uint16_t> banks;  // TPM_ALG_ID of each, ascending
    // In log order, the Spec ID event first if there is one. An event's digests stand in the order of their banks.
    std::vector<logged_event> events;
    bool has_spec_id = false;
    std::size_t end = 0;        // where the last event ends
    std::size_t left_over = 0;  // bytes behind it, unless they are the filling of a larger area
    // What keeps them from being events, or the log from being opened where no text was reported; a clause, or empty.
    const char* why_cut = "";

    // As it is counted everywhere: 1 for the first event behind the Spec ID event, which is 0.
    std::size_t position_of(std::size_t index) const { return has_spec_id ? index : index + 1; }
};

// Reads as many events as can be read. Fails as event_log_reader::open() does.
result read_events(byte_view log, event_sequence& out);

// Whether the first event could be one of a boot: it measures firmware into PCR 0, or extends nothing. Without that
// anything would be taken for a log in the legacy layout, which has no mark.
bool begins_like_a_log(byte_view log);

}  // namespace vellum
