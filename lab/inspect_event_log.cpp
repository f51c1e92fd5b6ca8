#include <algorithm>

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "lab/inspect_report.h"
#include "lab/inspect_text.h"
#include "tpm/event_log.h"
#include "tpm/event_log_reader.h"
#include "tpm/pcr_list.h"

namespace vellum::lab {
namespace {

// No firmware writes as much. A description takes many times the room of its log.
constexpr std::uint64_t max_described_log = std::uint64_t{8} * 1024 * 1024;
constexpr std::size_t sha1_size = 20;

// The way over a log, whatever a parser makes of it.
struct log_walk {
    bool opened = false;
    log_format format = log_format::legacy_sha1;
    std::uint32_t events = 0;
    std::size_t end = 0;
    log_flaw flaw = log_flaw::none;
    bool unread = false;  // it stopped at an event without a SHA-256 digest
};

log_walk walk(byte_view log) {
    log_walk out;
    event_log_reader reader;
    tpm_event event;
    out.opened = ok(reader.open(log));
    out.format = reader.format();
    while (out.opened && !out.unread && reader.at_event() && !reader.oversized()) {
        out.unread = !reader.read(event);
        if (!out.unread) {
            reader.advance();
            ++out.events;
        }
    }
    out.end = reader.position();
    out.flaw = reader.flaw();
    clear_messages();
    return out;
}

const char* text_of(log_flaw flaw) {
    switch (flaw) {
        case log_flaw::none: break;
        case log_flaw::event_cut: return "what follows is shorter than any event";
        case log_flaw::digests_cut: return "the digests of the next event reach past the end";
        case log_flaw::digest_count: return "the next event claims more digests than an event can have";
        case log_flaw::no_digests: return "the next event has no digest";
        case log_flaw::data_cut: return "the data of the next event reach past the end";
        case log_flaw::spec_id_cut: return "the Spec ID event is shorter than what it says it holds";
        case log_flaw::spec_id_version: return "the Spec ID event is of a version before 1.2";
        case log_flaw::spec_id_algorithms: return "the Spec ID event lists more algorithms than an event can have";
    }
    return "its last event ends there";
}

// Whether the first event could be one: it measures firmware into PCR 0, or extends nothing. Without that anything
// would be taken for a log in the legacy layout, which has no mark.
bool begins_like_a_log(byte_view bytes) {
    byte_reader reader(bytes);
    std::uint32_t pcr = 0;
    std::uint32_t type = 0;
    const std::string_view unknown = tpm_event_type_name(0);
    return reader.u32_le(pcr) && reader.u32_le(type) && (pcr == 0 || type == EV_NO_ACTION) &&
           tpm_event_type_name(type) != unknown;
}

// What is text but for the zeros at its end: no character in it would show as another, but for those that end its
// lines and part its columns.
std::string text_in(byte_view data) {
    const auto last = std::find_if(data.rbegin(), data.rend(), [](std::uint8_t c) { return c != 0; });
    const std::string text(data.begin(), last.base());
    std::string one_line = text;
    std::replace_if(
        one_line.begin(), one_line.end(), [](char c) { return c == '\n' || c == '\t' || c == '\r'; }, ' ');
    return shown_text(one_line) == one_line ? shown_text(text) : "";
}

report describe(const tpm_event& event, log_format format) {
    const bool legacy = format == log_format::legacy_sha1;
    const byte_view digest = byte_view(event.digest).first(legacy ? sha1_size : event.digest.size());
    report out = {{"log_position", event.log_position},   {"pcr", event.pcr},
                  {"pcr_position", event.chain_position}, {"type", tpm_event_type_name(event.type)},
                  {"type_code", hex_number(event.type)},  {"digest", lower_hex(digest)}};
    if (!legacy) {
        out["pcr_value"] = lower_hex(event.value);
    }
    out["data_size"] = event.data.size();
    out["data"] = lower_hex(event.data);
    if (std::string text = text_in(event.data); !text.empty()) {
        out["text"] = std::move(text);
    }
    return out;
}

report describe_pcrs(const tpm_events_chains& log, log_format format, inspect_extent extent) {
    report out = report::array();
    const pcr_value_list values = replay_pcrs_from_log(log);
    for (std::size_t pcr = 0; pcr < values.size(); ++pcr) {
        if (log.chains[pcr].events.empty() && extent == inspect_extent::usual) {
            continue;
        }
        report row = {{"pcr", pcr}, {"events", log.chains[pcr].events.size()}};
        if (format == log_format::crypto_agile) {
            row["value"] = lower_hex(values[pcr]);
        }
        out.push_back(std::move(row));
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

std::string bytes_text(std::size_t count) {
    return count == 1 ? "1 byte" : std::to_string(count) + " bytes";
}

report describe_end(const log_walk& way, byte_view log) {
    const byte_view rest = log.subspan(way.end);
    return {{"at", way.end},
            {"left_over", rest.size()},
            {"filling", !rest.empty() && is_unused_area(rest)},
            {"why", text_of(way.flaw)}};
}

// Whether anything but filling is left over.
[[nodiscard]] bool is_damaged(const log_walk& way, byte_view log, report& out) {
    const byte_view rest = log.subspan(way.end);
    if (rest.empty()) {
        return false;
    }
    const std::string where = bytes_text(rest.size()) + " at " + std::to_string(way.end);
    if (is_unused_area(rest)) {
        add_caution(out, "filling", where + " are left over, the filling of an area that is larger than the log.",
                    report::array());
        return false;
    }
    add_reason(out, "left-over", where + " are left over: " + text_of(way.flaw) + ".", report::array());
    return true;
}

inspect_outcome judge(const log_walk& way, const tpm_events_chains& log, std::size_t described, report& out) {
    const bool legacy = way.format == log_format::legacy_sha1;
    if (legacy) {
        add_reason(out, "legacy", "It is in the legacy SHA-1 layout: its digests predict no SHA-256 PCR.",
                   report::array());
    }
    const bool damaged = is_damaged(way, log.log, out);
    if (described < way.events) {
        add_caution(out, "ignored-events",
                    std::to_string(way.events - described) + " of its events are for PCRs that do not exist.",
                    report::array());
    }
    if (way.events == 0) {
        add_caution(out, "no-events", "It holds no event but the Spec ID event.", report::array());
    }
    out["verdict"] = damaged ? "damaged" : legacy ? "legacy" : "well-formed";
    return damaged || legacy ? inspect_outcome::bad : inspect_outcome::good;
}

// The log that a parser refuses, whose reasons the findings are.
inspect_outcome refuse(byte_view bytes, report details, report& out) {
    const log_walk way = walk(bytes);
    if (way.unread) {
        const byte_view rest = bytes.subspan(way.end);
        details.push_back("Event " + std::to_string(way.events + 1) + " at " + std::to_string(way.end) +
                          " has no SHA-256 digest" + (all_zero(rest) ? ", and zeros are all that follows." : "."));
    } else if (way.flaw != log_flaw::none && !way.opened) {
        details.push_back(std::string("It cannot be opened: ") + text_of(way.flaw) + ".");
    }
    add_reason(out, "refused", "Its structure is invalid.", std::move(details));
    out["verdict"] = "refused";
    return inspect_outcome::bad;
}

}  // namespace

inspect_outcome describe_event_log(const inspect_request& request, finding_console& findings, report& out) {
    std::vector<std::uint8_t> bytes;
    if (!ok(read_file(request.path, max_described_log, bytes))) {
        add_reason(out, "unreadable", "The file cannot be read.", findings.take());
        return inspect_outcome::unreadable;
    }
    out["size"] = bytes.size();
    if (!begins_like_a_log(bytes)) {
        add_reason(out, "no-log", bytes.empty() ? "The file is empty." : "It does not begin as an event log does.",
                   report::array());
        out["verdict"] = "no event log";
        return inspect_outcome::unreadable;
    }
    std::optional<tpm_events_chains> log;
    if (!ok(parse_tpm_log(bytes, log))) {
        return refuse(bytes, findings.take(), out);
    }
    const log_walk way = walk(log->log);
    findings.take();
    out["format"] = way.format == log_format::crypto_agile ? "crypto-agile" : "legacy SHA-1";
    out["end"] = describe_end(way, log->log);
    out["startup_locality"] = describe_locality(log->chains[0]);
    out["pcrs"] = describe_pcrs(*log, way.format, request.extent);
    out["events"] = report::array();
    for (const tpm_event* event : in_log_order(*log)) {
        out["events"].push_back(describe(*event, way.format));
    }
    return judge(way, *log, out["events"].size(), out);
}

}  // namespace vellum::lab
