// The events of two logs, which of them belong together, and what is said of those that changed.
#include "tpm/event_details/log_alignment.h"

#include "base/text.h"
#include "core/findings.h"
#include "fuzz/fuzz_session.h"
#include "tests/support/alignment_check.h"
#include "tpm/event_details/event_changes.h"
#include "tpm/event_details/probable_causes.h"

namespace vellum::fuzz {
namespace {

bool is_clean(const std::string& text) {
    return shown_text(text) == text;
}

// What an event's change comes to.
void check_change(const logged_event& reference, const logged_event& live, claim_checker& claims) {
    const event_change change = compare_event(reference, live, claims);
    const bool same = equal_bytes(reference.data, live.data) && !change.digests_differ;
    demand(same == change.fields.empty(), "a change is shown where there is one");
    for (const field_change& field : change.fields) {
        demand(!field.says.empty() && is_clean(field.says), "a change is said in what a terminal may show");
        demand(field.reference != field.live, "a field that changed has two values");
    }
}

void check_changes(const event_sequence& reference, const event_sequence& live, const pcr_alignment& pcr) {
    claim_checker claims;
    for (const alignment_step& step : pcr.steps) {
        if (step.kind == step_kind::changed || step.kind == step_kind::restated) {
            check_change(reference.events[step.reference], live.events[step.live], claims);
        }
    }
}

void check_causes(const event_sequence& reference, const event_sequence& live,
                  std::span<const pcr_alignment> alignment) {
    for (const probable_cause& cause : probable_causes(reference, live, alignment)) {
        demand(is_clean(cause.detail) && is_clean(evidence_text(cause.evidence)), "a cause may be shown");
    }
}

bool differs(std::span<const pcr_alignment> alignment) {
    for (const pcr_alignment& pcr : alignment) {
        for (const alignment_step& step : pcr.steps) {
            if (step.kind != step_kind::alike) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    const std::vector<std::uint8_t> reference_bytes = take_part(reader);
    const std::vector<std::uint8_t> live_bytes = take_part(reader);
    event_sequence reference;
    event_sequence live;
    const bool read = ok(read_events(reference_bytes, reference)) && ok(read_events(live_bytes, live));
    clear_messages();
    if (!read) {
        return;
    }
    const std::vector<pcr_alignment> alignment = align_logs(reference, live);
    const char* const flaw = test::flaw_of(reference, live, alignment);
    demand(flaw == nullptr, flaw != nullptr ? flaw : "");
    demand(!differs(align_logs(live, live)), "a log is equal to itself");
    demand(differs(align_logs(live, reference)) == differs(alignment), "the order of the logs does not matter");
    for (const pcr_alignment& pcr : alignment) {
        check_changes(reference, live, pcr);
    }
    check_causes(reference, live, alignment);
}

}  // namespace vellum::fuzz
