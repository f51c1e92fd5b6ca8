// What the event logs of a run say, for a record.
#include <algorithm>

#include "app/stages.h"
#include "report/record_state.h"
#include "tpm/event_details/digest_claim.h"
#include "tpm/event_details/event_changes.h"
#include "tpm/event_details/event_sequence.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/log_alignment.h"
#include "tpm/event_details/log_health.h"
#include "tpm/event_details/probable_causes.h"

namespace vellum::reporting {
namespace {

// No boot has as many; a report stays readable, and of bounded size, whatever a log holds.
constexpr std::size_t max_recorded_events = 2000;

const char* severity_name(remark_severity severity) {
    switch (severity) {
        case remark_severity::damage: return "damage";
        case remark_severity::caution: return "caution";
        case remark_severity::note: break;
    }
    return "note";
}

// Whether the sources that have a value of the PCR part.
bool differs(const pcr_record& pcr) {
    const auto unlike = [](const std::optional<pcr_value>& a, const std::optional<pcr_value>& b) {
        return a && b && *a != *b;
    };
    return unlike(pcr.tpm, pcr.log) || unlike(pcr.tpm, pcr.pmf) || unlike(pcr.log, pcr.pmf);
}

void record_partitions(const gpt_details& gpt, std::vector<partition_record>& out) {
    out.clear();
    for (const gpt_entry_details& entry : gpt.partitions) {
        if (out.size() == max_recorded_events) {
            return;
        }
        out.push_back({guid_text(entry.type), entry.name, guid_text(entry.unique), entry.first_lba, entry.last_lba,
                       entry.attributes});
    }
}

void record_events(byte_view log, run_record& out) {
    event_log_reader reader;
    if (!ok(reader.open(log, log_banks::any))) {
        return;
    }
    claim_checker checker;
    logged_event event;
    std::uint32_t position = 0;
    for (; reader.at_event() && reader.read(event); reader.advance()) {
        ++position;
        if (out.events.size() == max_recorded_events) {
            return;
        }
        const event_details details = decode_event(event);
        const bool suspect = event.pcr < pcr_count && differs(out.pcrs[event.pcr]);
        out.events.push_back({position, event.pcr, event_type_name(event.type), summary_of(event, details),
                              proof_name(checker.check(event, details).proof), suspect});
        if (const auto* gpt = std::get_if<gpt_details>(&details)) {
            record_partitions(*gpt, out.measured_partitions);
        }
    }
}

difference_record difference_of(const event_sequence& reference, const event_sequence& live, std::uint32_t pcr,
                                const alignment_step& step, claim_checker& claims) {
    difference_record out;
    out.pcr = pcr;
    out.kind = step_name(step.kind);
    if (step.reference != no_event) {
        const logged_event& event = reference.events[step.reference];
        out.reference = reference.position_of(step.reference);
        out.type = event_type_name(event.type);
        out.reference_says = summary_of(event, decode_event(event));
    }
    if (step.live != no_event) {
        const logged_event& event = live.events[step.live];
        out.live = live.position_of(step.live);
        out.type = event_type_name(event.type);
        out.live_says = summary_of(event, decode_event(event));
    }
    if (step.reference != no_event && step.live != no_event) {
        for (const field_change& field :
             compare_event(reference.events[step.reference], live.events[step.live], claims).fields) {
            out.changes.push_back(field.says);
        }
    }
    return out;
}

void record_causes(const std::vector<probable_cause>& causes, run_record& out) {
    for (const probable_cause& cause : causes) {
        const std::string evidence = evidence_text(cause.evidence);
        out.probable_causes.push_back({cause.code,
                                       "Probably " + std::string(cause.happened) +
                                           (evidence.empty() ? "" : " (" + evidence + ")") +
                                           (cause.detail.empty() ? "." : ": " + cause.detail),
                                       cause.act});
    }
}

void record_differences(byte_view reference_log, byte_view live_log, run_record& out) {
    event_sequence reference;
    event_sequence live;
    if (std::max(reference_log.size(), live_log.size()) > max_compared_log) {
        out.log_health.push_back({"not-compared", severity_name(remark_severity::note),
                                  "It was not compared event by event: one of the logs is larger than any boot's."});
        return;
    }
    if (!ok(read_events(reference_log, reference)) || !ok(read_events(live_log, live))) {
        return;
    }
    const std::vector<pcr_alignment> alignment = align_logs(reference, live);
    claim_checker claims;
    for (const pcr_alignment& pcr : alignment) {
        for (const alignment_step& step : pcr.steps) {
            if (step.kind != step_kind::alike && out.differences.size() < max_recorded_events) {
                out.differences.push_back(difference_of(reference, live, pcr.pcr, step, claims));
            }
        }
    }
    record_causes(probable_causes(reference, live, alignment), out);
}

// Against the PCRs of the running machine, where they were read.
void record_health(const validation_state& state, run_record& out) {
    std::vector<given_pcr> given;
    if (state.stages.passed(SLOT_RETRIEVE_PCRS)) {
        for (std::uint32_t pcr = 0; pcr < pcr_count; ++pcr) {
            given.push_back({pcr, {state.tpm_pcrs[pcr].begin(), state.tpm_pcrs[pcr].end()}});
        }
    }
    const std::vector<remark> remarks = health_of(state.live_log->log, std::move(given));
    for (const remark& made : remarks) {
        out.log_health.push_back({made.id, severity_name(made.severity), made.says});
    }
}

}  // namespace

void record_log(const validation_state& state, run_record& out) {
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        const auto& events = state.live_log->chains[pcr].events;
        out.pcrs[pcr].log = state.live_log_pcrs[pcr];
        for (const tpm_event& event : events) {
            out.pcrs[pcr].events += event.type != EV_NO_ACTION ? 1 : 0;
        }
    }
    record_events(state.live_log->log, out);
    record_health(state, out);
    if (state.reference_log) {
        record_differences(state.reference_log->log, state.live_log->log, out);
    }
}

}  // namespace vellum::reporting
