// What probably happened between two boots, from what differs in their logs, and who should act. A guess by rules:
// every cause names the events that it rests on.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tpm/event_details/log_alignment.h"

namespace vellum {

// A difference, by the positions of its events in the logs.
struct event_evidence {
    std::uint32_t pcr = 0;
    std::optional<std::size_t> reference;
    std::optional<std::size_t> live;
};

struct probable_cause {
    const char* code = "";      // for machines: "boot-loader"
    const char* happened = "";  // "the boot loader was updated or replaced"
    const char* act = "";       // a sentence: who should act
    std::string detail;         // what the first of the events says of it, "SecureBoot: on -> off"; may be empty
    std::vector<event_evidence> evidence;  // in the order of the steps; none for what concerns the logs as a whole
};

// The gravest first. Empty for logs whose events are all alike and which are whole.
std::vector<probable_cause> probable_causes(const event_sequence& reference, const event_sequence& live,
                                            std::span<const pcr_alignment> alignment);

// "event 6 in PCR 7", "events 3, 4, 5 and 2 more in PCR 0; event 9 of the reference in PCR 1".
std::string evidence_text(std::span<const event_evidence> evidence);

// Whether the step changes what its PCR holds.
bool changes_pcr(const event_sequence& reference, const event_sequence& live, const alignment_step& step);

}  // namespace vellum
