// What the event logs of a run say, for a record.
#include <algorithm>

#include "report/record_state.h"
#include "tpm/event_details/digest_claim.h"
#include "tpm/event_details/event_sequence.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/known_names.h"
#include "tpm/event_details/log_alignment.h"
#include "tpm/event_details/log_health.h"
#include "tpm/event_details/probable_causes.h"

namespace vellum::reporting {
namespace {

// No boot has as many; a report stays readable, and of bounded size, whatever a log holds.
constexpr std::size_t max_recorded_events = 2000;

const char* proof_name(digest_proof proof) {
    switch (proof) {
        case digest_proof::proved: return "proved";
        case digest_proof::claimed: return "claimed";
        case digest_proof::contradicted: return "contradicted";
        case digest_proof::unextended: break;
    }
    return "unextended";
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
}

}  // namespace vellum::reporting
