// Whether an alignment is what it promises: a way from the events of one log to those of another.
#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "tpm/event_details/log_alignment.h"
#include "tpm/event_log.h"

namespace vellum::test {

// Type and digests are alike in the banks that both logs have.
inline bool measured_alike(const logged_event& a, const logged_event& b, std::span<const std::uint16_t> banks) {
    const auto counted = [banks](const logged_event& event) {
        std::vector<event_digest> out;
        for (const event_digest& digest : event.banks()) {
            if (std::find(banks.begin(), banks.end(), digest.algorithm) != banks.end()) {
                out.push_back(digest);
            }
        }
        return out;
    };
    const auto of_a = counted(a);
    const auto of_b = counted(b);
    return a.type == b.type && std::equal(of_a.begin(), of_a.end(), of_b.begin(), of_b.end(),
                                          [](const event_digest& x, const event_digest& y) {
                                              return x.algorithm == y.algorithm && equal_bytes(x.value, y.value);
                                          });
}

inline std::vector<std::uint32_t> events_of(const event_sequence& log, std::uint32_t pcr) {
    std::vector<std::uint32_t> out;
    for (std::uint32_t i = 0; i < log.events.size(); ++i) {
        if (log.events[i].pcr == pcr) {
            out.push_back(i);
        }
    }
    return out;
}

// Why the steps of a PCR are no way from the one log to the other; null: they are.
inline const char* flaw_of(const event_sequence& reference, const event_sequence& live, const pcr_alignment& pcr) {
    const std::vector<std::uint16_t> banks = common_banks(reference, live);
    std::vector<std::uint32_t> taken;
    std::vector<std::uint32_t> made;
    std::vector<std::uint32_t> kept;
    for (const alignment_step& step : pcr.steps) {
        const bool has_reference = step.reference != no_event;
        const bool has_live = step.live != no_event;
        if (has_reference != (step.kind != step_kind::added) || has_live != (step.kind != step_kind::removed)) {
            return "a step lacks an event or has too many";
        }
        if (has_reference) {
            taken.push_back(step.reference);
        }
        if (has_live) {
            made.push_back(step.live);
        }
        if (!has_reference || !has_live) {
            continue;
        }
        const logged_event& before = reference.events[step.reference];
        const logged_event& after = live.events[step.live];
        if (measured_alike(before, after, banks) != (step.kind != step_kind::changed) &&
            (before.type != EV_NO_ACTION && !banks.empty())) {
            return "a pair is alike or changed, and called otherwise";
        }
        if (step.kind == step_kind::alike && !equal_bytes(before.data, after.data)) {
            return "an event that is alike has other data";
        }
        if (step.kind == step_kind::alike || step.kind == step_kind::restated) {
            kept.push_back(step.reference);
        }
    }
    std::sort(taken.begin(), taken.end());
    return made != events_of(live, pcr.pcr)            ? "the steps do not make the live events"
           : taken != events_of(reference, pcr.pcr)    ? "the steps do not take every reference event once"
           : !std::is_sorted(kept.begin(), kept.end()) ? "what was kept changed its order"
                                                       : nullptr;
}

// The same of whole logs.
inline const char* flaw_of(const event_sequence& reference, const event_sequence& live,
                           std::span<const pcr_alignment> pcrs) {
    std::size_t events = 0;
    for (const pcr_alignment& pcr : pcrs) {
        if (const char* flaw = flaw_of(reference, live, pcr)) {
            return flaw;
        }
        events += static_cast<std::size_t>(std::count_if(
            pcr.steps.begin(), pcr.steps.end(), [](const alignment_step& step) { return step.live != no_event; }));
    }
    return events == live.events.size() ? nullptr : "a PCR of the live log is missing";
}

}  // namespace vellum::test
