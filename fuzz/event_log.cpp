// The event log, and the PCR[5] events that are looked for in it.
#include <algorithm>

#include "core/log.h"
#include "fuzz/fuzz_session.h"
#include "tpm/event_log_reader.h"
#include "tpm/pcr5_stages.h"
#include "tpm/pcr_list.h"

namespace vellum::fuzz {
namespace {

// The PCRs after the boot, by extending them in log order and nothing else.
pcr_value_list straight_replay(const tpm_events_chains& chains) {
    pcr_value_list values{};
    std::for_each(values.begin() + 17, values.begin() + 23, [](pcr_value& value) { value.fill(0xFF); });
    const auto& locality = chains.chains[0].startup_locality;
    values[0].back() = locality ? startup_locality_of(chains.chains[0].events[*locality]).value_or(0xEE) : 0;
    event_log_reader reader;
    demand(ok(reader.open(chains.log)), "a log that was read opens");
    for (hasher hash = hasher::sha256(); reader.at_event(); reader.advance()) {
        tpm_event event;
        demand(reader.read(event), "every event of an accepted log is readable");
        if (event.pcr < pcr_count && event.type != EV_NO_ACTION) {
            const pcr_value before = values[event.pcr];
            demand(ok(hash.hash({before, event.digest}, values[event.pcr])), "hashing works");
        }
    }
    return values;
}

void check_chain(const tpm_events_chains& chains, const tpm_event_chain& chain) {
    std::uint32_t log_position = 0;
    for (std::size_t i = 0; i < chain.events.size(); ++i) {
        const tpm_event& event = chain.events[i];
        demand(event.chain_position == i + 1 && event.log_position > log_position, "events stand in log order");
        demand(event.pcr == chain.head.pcr, "an event stands in its own chain");
        demand(event.data.empty() || (event.data.data() >= chains.log.data() &&
                                      event.data.data() + event.data.size() <= chains.log.data() + chains.log.size()),
               "an event's data lie within the log");
        log_position = event.log_position;
    }
}

void check_pcr5(const tpm_events_chains& chains) {
    pcr5_events events;
    const bool passed = validate_pcr5_events(chains, events).verdict != stage_verdict::failed;
    if (can_check_pre_os_seal(events)) {
        any_outcome(check_pre_os_seal(events));
    }
    demand(!passed || sealed_configuration(events.seal_data).size() == seal_configuration_size,
           "accepted seal data hold a configuration");
    any_outcome(match_seal_log_hash(chains.log, events.seal_data));
}

}  // namespace

void check(byte_view input) {
    std::optional<tpm_events_chains> chains;
    if (!ok(parse_tpm_log({input.begin(), input.end()}, chains))) {
        demand(!chains, "a refused log leaves nothing");
        return;
    }
    for (const tpm_event_chain& chain : chains->chains) {
        check_chain(*chains, chain);
    }
    demand(replay_pcrs_from_log(*chains) == straight_replay(*chains), "chains replay like the log itself");
    check_pcr5(*chains);
}

}  // namespace vellum::fuzz
