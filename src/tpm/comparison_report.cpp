#include "tpm/comparison_report.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

enum class display_state { compared, no_counterpart, no_more_events, initial_value };

constexpr std::size_t shown_data_size = 408;
constexpr std::size_t dump_bytes_per_line = 24;
constexpr std::size_t dump_indent = 12;

bool shows_event(display_state state) {
    return state == display_state::compared || state == display_state::no_counterpart;
}

const char* side_title(const chain_cursor& cursor, display_state state) {
    const bool live = cursor.side == log_side::live;
    if (state == display_state::no_counterpart) {
        return live ? "Mismatched event (Live Log)" : "Mismatched event (Reference Log)";
    }
    return live ? "Actual event (Live Log)" : "Expected event (Reference Log)";
}

void add_title(finding_lines& lines, const chain_cursor& cursor, display_state state) {
    const char* title = side_title(cursor, state);
    const int count = static_cast<int>(cursor.chain->events.size());
    if (state == display_state::no_more_events) {
        lines.line("      %s [-/%d]:", title, count);
    } else {
        lines.line("      %s [%d/%d]:", title, static_cast<int>(cursor.position), count);
    }
}

void add_type(finding_lines& lines, const tpm_event& event, display_state state) {
    if (shows_event(state)) {
        lines.line("         Type:                       0x%08x(%s)", event.type, tpm_event_type_name(event.type));
    } else if (state == display_state::no_more_events) {
        lines.text("         Type:                       N/A (no more events)");
    } else {
        lines.text("         Type:                       N/A (PCR initial value)");
    }
}

void add_value(finding_lines& lines, const chain_cursor& cursor, const tpm_event& event, display_state state) {
    lines.line("         Intermediate PCR[%02d] Value: %s", static_cast<int>(event.pcr),
               sha256_text(event.value).c_str());
    const auto& locality_index = cursor.chain->startup_locality;
    if (state != display_state::initial_value || !locality_index) {
        return;
    }
    const tpm_event& locality_event = cursor.chain->events[*locality_index];
    const auto locality = startup_locality_of(locality_event);
    lines.line("            Reported in:             StartupLocality(%d) event [%d/%d]",
               locality ? static_cast<int>(*locality) : -1, static_cast<int>(locality_event.chain_position),
               static_cast<int>(cursor.chain->events.size()));
}

void add_data(finding_lines& lines, const tpm_event& event) {
    lines.line("         Data (%d bytes):", static_cast<int>(event.data.size()));
    hex_dump(event.data.first(std::min(event.data.size(), shown_data_size)), dump_bytes_per_line, dump_indent,
             [&lines](std::string_view dumped) { lines.text(dumped); });
    if (event.data.size() > shown_data_size) {
        lines.line("            (... %d bytes truncated ...)", static_cast<int>(event.data.size() - shown_data_size));
        log_at(log_level::debug, "Following event data was truncated on console output:");
        print_tpm_log_event(event);
        dump_at_level(log_level::debug, event.data);
    }
}

void add_side(finding_lines& lines, const chain_cursor& cursor, display_state state) {
    const tpm_event* under_cursor = cursor.event();
    const tpm_event& event = under_cursor != nullptr ? *under_cursor : cursor.chain->last();
    add_title(lines, cursor, state);
    add_type(lines, event, state);
    if (shows_event(state)) {
        lines.line("         SHA256 Digest:              %s", sha256_text(event.digest).c_str());
    } else {
        lines.text("         SHA256 Digest:              N/A");
    }
    add_value(lines, cursor, event, state);
    if (shows_event(state)) {
        add_data(lines, event);
    } else {
        lines.text("         Data:                       N/A");
    }
}

// What an observer is told of the event under the cursor, under names of its side.
void add_fields(finding_lines& lines, const chain_cursor& cursor) {
    const tpm_event* event = cursor.event();
    if (event == nullptr) {
        return;
    }
    const bool live = cursor.side == log_side::live;
    const char* value = live ? "actual" : "expected";
    if (cursor.position == 0) {
        lines.field(value, byte_view(event->value));
        return;
    }
    lines.field(live ? "position" : "expected_position", event->log_position);
    add_event_type(lines, live ? "event_type" : "expected_event_type", event->type);
    lines.field(value, byte_view(event->digest));
}

display_state state_at_difference(const chain_cursor& cursor) {
    if (cursor.event() == nullptr) {
        return display_state::no_more_events;
    }
    return cursor.position == 0 ? display_state::initial_value : display_state::compared;
}

}  // namespace

void report_pcr_header(const tpm_event_chain& live, const tpm_event_chain& reference, bool earlier_reports) {
    const pcr_value& actual = live.last().value;
    const pcr_value& expected = reference.last().value;
    finding_lines lines = begin_report("log-pcr-compared"_id);
    lines.field("pcr", live.head.pcr).field("expected", byte_view(expected)).field("actual", byte_view(actual));
    if (earlier_reports) {
        lines.empty_line().empty_line();
    }
    lines.line("PCR[%02d] Actual Value:   %s | %s", static_cast<int>(live.head.pcr), sha256_text(actual).c_str(),
               actual == expected ? "MATCH" : "MISMATCH");
    lines.line("        Expected Value: %s |", sha256_text(expected).c_str());
}

void report_first_difference(const chain_cursor& live, const chain_cursor& reference) {
    finding_lines lines = begin_report("log-event-differs"_id).empty_line().text("   First difference:");
    lines.field("pcr", live.chain->head.pcr);
    add_fields(lines, live);
    add_fields(lines, reference);
    add_side(lines, live, state_at_difference(live));
    add_side(lines, reference, state_at_difference(reference));
}

void report_informational_event(const chain_cursor& cursor) {
    finding_lines lines = begin_report("log-event-without-counterpart"_id).empty_line();
    lines.field("pcr", cursor.chain->head.pcr);
    add_fields(lines, cursor);
    lines.line("   WARNING: Found an information (non-extending) event that has no counterpart in the %s Log:",
               cursor.side == log_side::reference ? "Live" : "Reference");
    add_side(lines, cursor, display_state::no_counterpart);
}

void report_type_difference(const chain_cursor& live, const chain_cursor& reference) {
    finding_lines lines = begin_report("log-event-type-differs"_id).empty_line();
    lines.field("pcr", live.chain->head.pcr);
    add_fields(lines, live);
    add_fields(lines, reference);
    lines.text("   WARNING: Following events have identical digests but different types:");
    add_side(lines, live, display_state::compared);
    add_side(lines, reference, display_state::compared);
}

}  // namespace vellum
