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

void push_line(std::string_view text) {
    static_cast<void>(push_text(0, text));
}

void push_empty_line() {
    static_cast<void>(push_text(no_prefix, ""));
}

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

void push_title(const chain_cursor& cursor, display_state state) {
    const char* title = side_title(cursor, state);
    const int count = static_cast<int>(cursor.chain->events.size());
    if (state == display_state::no_more_events) {
        static_cast<void>(push_message("      %s [-/%d]:", title, count));
    } else {
        static_cast<void>(push_message("      %s [%d/%d]:", title, static_cast<int>(cursor.position), count));
    }
}

void push_type(const tpm_event& event, display_state state) {
    if (shows_event(state)) {
        static_cast<void>(push_message("         Type:                       0x%08x(%s)", event.type,
                                       tpm_event_type_name(event.type)));
    } else if (state == display_state::no_more_events) {
        push_line("         Type:                       N/A (no more events)");
    } else {
        push_line("         Type:                       N/A (PCR initial value)");
    }
}

void push_value(const chain_cursor& cursor, const tpm_event& event, display_state state) {
    static_cast<void>(push_message("         Intermediate PCR[%02d] Value: %s", static_cast<int>(event.pcr),
                                   sha256_text(event.value).c_str()));
    const auto& locality_index = cursor.chain->startup_locality;
    if (state != display_state::initial_value || !locality_index) {
        return;
    }
    const tpm_event& locality_event = cursor.chain->events[*locality_index];
    const auto locality = startup_locality_of(locality_event);
    static_cast<void>(push_message("            Reported in:             StartupLocality(%d) event [%d/%d]",
                                   locality ? static_cast<int>(*locality) : -1,
                                   static_cast<int>(locality_event.chain_position),
                                   static_cast<int>(cursor.chain->events.size())));
}

void push_data(const tpm_event& event) {
    static_cast<void>(push_message("         Data (%d bytes):", static_cast<int>(event.data.size())));
    hex_dump(event.data.first(std::min(event.data.size(), shown_data_size)), dump_bytes_per_line, dump_indent,
             push_line);
    if (event.data.size() > shown_data_size) {
        static_cast<void>(push_message("            (... %d bytes truncated ...)",
                                       static_cast<int>(event.data.size() - shown_data_size)));
        log_at(log_level::debug, "Following event data was truncated on console output:");
        print_tpm_log_event(event);
        dump_at_level(log_level::debug, event.data);
    }
}

void push_side(const chain_cursor& cursor, display_state state) {
    const tpm_event* under_cursor = cursor.event();
    const tpm_event& event = under_cursor != nullptr ? *under_cursor : cursor.chain->last();
    push_title(cursor, state);
    push_type(event, state);
    if (shows_event(state)) {
        static_cast<void>(push_message("         SHA256 Digest:              %s", sha256_text(event.digest).c_str()));
    } else {
        push_line("         SHA256 Digest:              N/A");
    }
    push_value(cursor, event, state);
    if (shows_event(state)) {
        push_data(event);
    } else {
        push_line("         Data:                       N/A");
    }
}

display_state state_at_difference(const chain_cursor& cursor) {
    if (cursor.event() == nullptr) {
        return display_state::no_more_events;
    }
    return cursor.position == 0 ? display_state::initial_value : display_state::compared;
}

}  // namespace

void report_pcr_header(const tpm_event_chain& live, const tpm_event_chain& reference, bool earlier_reports) {
    if (earlier_reports) {
        push_empty_line();
        push_empty_line();
    }
    const pcr_value& actual = live.last().value;
    const pcr_value& expected = reference.last().value;
    static_cast<void>(push_message("PCR[%02d] Actual Value:   %s | %s", static_cast<int>(live.head.pcr),
                                   sha256_text(actual).c_str(), actual == expected ? "MATCH" : "MISMATCH"));
    static_cast<void>(push_message("        Expected Value: %s |", sha256_text(expected).c_str()));
}

void report_first_difference(const chain_cursor& live, const chain_cursor& reference) {
    push_empty_line();
    push_line("   First difference:");
    push_side(live, state_at_difference(live));
    push_side(reference, state_at_difference(reference));
}

void report_informational_event(const chain_cursor& cursor) {
    push_empty_line();
    static_cast<void>(
        push_message("   WARNING: Found an information (non-extending) event that has no counterpart in the %s Log:",
                     cursor.side == log_side::reference ? "Live" : "Reference"));
    push_side(cursor, display_state::no_counterpart);
}

void report_type_difference(const chain_cursor& live, const chain_cursor& reference) {
    push_empty_line();
    push_line("   WARNING: Following events have identical digests but different types:");
    push_side(live, display_state::compared);
    push_side(reference, display_state::compared);
}

}  // namespace vellum
