#include "tpm/event_details/event_sequence.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "tpm/event_details/log_health.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

void sort_digests(logged_event& event) {
    const auto all = std::span(event.digests).first(event.digest_count);
    std::stable_sort(all.begin(), all.end(),
                     [](const event_digest& a, const event_digest& b) { return a.algorithm < b.algorithm; });
}

void take(logged_event event, event_sequence& out) {
    sort_digests(event);
    out.events.push_back(event);
}

std::vector<std::uint16_t> banks_of(const event_log_reader& reader) {
    if (reader.format() == log_format::legacy_sha1) {
        return {tpm_alg_sha1};
    }
    std::vector<std::uint16_t> banks;
    for (const auto& algorithm : reader.algorithms()) {
        banks.push_back(algorithm.id);
    }
    std::sort(banks.begin(), banks.end());
    return banks;
}

}  // namespace

result read_events(byte_view log, event_sequence& out) {
    out = event_sequence();
    event_log_reader reader;
    if (const result opened = reader.open(log, log_banks::any); !ok(opened)) {
        out.why_cut = reader.flaw() == log_flaw::none ? "" : flaw_text(reader);
        return opened;
    }
    out.format = reader.format();
    out.banks = banks_of(reader);
    logged_event event;
    out.has_spec_id = reader.read_spec_id(event);
    if (out.has_spec_id) {
        take(event, out);
    }
    for (; reader.read(event); reader.advance()) {
        take(event, out);
    }
    out.end = reader.position();
    const byte_view rest = log.subspan(out.end);
    if (!is_unused_area(rest)) {
        out.left_over = rest.size();
        out.why_cut = flaw_text(reader);
    }
    return result::success;
}

bool begins_like_a_log(byte_view log) {
    byte_reader reader(log);
    std::uint32_t pcr = 0;
    std::uint32_t type = 0;
    const std::string_view unknown = tpm_event_type_name(0);
    return reader.u32_le(pcr) && reader.u32_le(type) && (pcr == 0 || type == EV_NO_ACTION) &&
           tpm_event_type_name(type) != unknown;
}

}  // namespace vellum
