// Which events of two boots' logs belong together, PCR by PCR, so that everything that was added, removed, changed or
// moved is known, and not only the first difference.
//
// Events are alike when type and digests are, in all banks that both logs have. What a PCR holds depends on the order
// of its own events alone: that of events of different PCRs is not compared.
#pragma once

#include <cstdint>
#include <vector>

#include "tpm/event_details/event_sequence.h"
#include "tpm/event_details/sequence_alignment.h"

namespace vellum {

enum class step_kind {
    alike,
    restated,  // type and digests are alike, the data are not: the log tells another story of the same measurement
    moved,     // alike, but at another place among the events of its PCR
    changed,   // another digest, of what is the same thing: the variable of one name, the image of one path, ...
    removed,   // only in the reference
    added,     // only in the live log
};

// "changed": the word for a kind of step, which machines read too.
const char* step_name(step_kind kind);

inline constexpr std::uint32_t no_event = no_partner;

struct alignment_step {
    step_kind kind = step_kind::alike;
    std::uint32_t reference = no_event;  // its index among the events of each log
    std::uint32_t live = no_event;
};

// The way from the reference's events of a PCR to the live log's: whoever takes the steps that have a live event, in
// their order, has all of these in theirs; each reference event stands in one step.
struct pcr_alignment {
    std::uint32_t pcr = 0;
    std::vector<alignment_step> steps;
};

// PCRs in ascending order, of all that have an event in one of the logs.
std::vector<pcr_alignment> align_logs(const event_sequence& reference, const event_sequence& live);

// The banks that both logs have, ascending. Without one events are alike when their data are.
std::vector<std::uint16_t> common_banks(const event_sequence& reference, const event_sequence& live);

}  // namespace vellum
