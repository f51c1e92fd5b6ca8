#include <algorithm>

#include "core/file.h"
#include "core/text.h"
#include "lab/inspect_report.h"
#include "platform/tbs.h"
#include "tpm/event_log.h"
#include "tpm/pcr_list.h"

namespace vellum::lab {
namespace {

bool printable(byte_view data) {
    return !data.empty() &&
           std::all_of(data.begin(), data.end(), [](std::uint8_t c) { return c >= ' ' && c <= '~'; });
}

report describe(const tpm_event& event) {
    report out = {{"log_position", event.log_position},   {"pcr", event.pcr},
                  {"pcr_position", event.chain_position}, {"type", tpm_event_type_name(event.type)},
                  {"type_code", hex_number(event.type)},  {"digest", lower_hex(event.digest)},
                  {"pcr_value", lower_hex(event.value)},  {"data_size", event.data.size()},
                  {"data", upper_hex(event.data)}};
    if (printable(event.data)) {
        out["text"] = std::string(event.data.begin(), event.data.end());
    }
    return out;
}

report describe_pcrs(const tpm_events_chains& log) {
    report out = report::array();
    const pcr_value_list values = replay_pcrs_from_log(log);
    for (std::size_t pcr = 0; pcr < values.size(); ++pcr) {
        out.push_back({{"pcr", pcr}, {"value", lower_hex(values[pcr])}, {"events", log.chains[pcr].events.size()}});
    }
    return out;
}

std::vector<const tpm_event*> in_log_order(const tpm_events_chains& log) {
    std::vector<const tpm_event*> events;
    for (const tpm_event_chain& chain : log.chains) {
        for (const tpm_event& event : chain.events) {
            events.push_back(&event);
        }
    }
    std::sort(events.begin(), events.end(),
              [](const tpm_event* a, const tpm_event* b) { return a->log_position < b->log_position; });
    return events;
}

report describe_locality(const tpm_event_chain& chain) {
    const auto locality = chain.startup_locality ? startup_locality_of(chain.events[*chain.startup_locality])
                                                 : std::optional<std::uint8_t>();
    return locality ? report(*locality) : report();
}

}  // namespace

bool describe_event_log(const inspect_request& request, finding_console& findings, report& out) {
    out["file"] = shown_text(request.path);
    std::vector<std::uint8_t> bytes;
    std::optional<tpm_events_chains> log;
    const bool well_formed =
        ok(read_file(request.path, tbs::max_log_size, bytes)) && ok(parse_tpm_log(std::move(bytes), log));
    out["well_formed"] = well_formed;
    out["findings"] = findings.take();
    if (!well_formed) {
        return false;
    }
    out["size"] = log->log.size();
    out["startup_locality"] = describe_locality(log->chains[0]);
    out["pcrs"] = describe_pcrs(*log);
    out["events"] = report::array();
    for (const tpm_event* event : in_log_order(*log)) {
        out["events"].push_back(describe(*event));
    }
    return true;
}

}  // namespace vellum::lab
