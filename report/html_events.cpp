// The boot by its events: a lane for each PCR, and the events themselves.
#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "base/text.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

constexpr std::size_t most_marks = 96;  // in a lane
constexpr std::size_t most_rows = 400;  // of the table
constexpr std::size_t most_tips = 150;  // events up to which each mark tells what it is
constexpr std::size_t most_labels = 6;  // of a lane
constexpr std::size_t longest_label = 160;

bool is_contradicted(const event_record& event) {
    return std::string_view(event.proof) == "contradicted";
}

bool is_informational(const event_record& event) {
    return std::string_view(event.proof) == "unextended";
}

// Where a reference log tells what differs, by position in this boot's log.
using positions = std::set<std::size_t>;

// An event that only states the same in another way is no difference to look into.
bool parts(const difference_record& difference) {
    return std::string_view(difference.kind) != "restated";
}

positions parting_events(const run_record& record) {
    positions out;
    for (const difference_record& difference : record.differences) {
        if (difference.live && parts(difference)) {
            out.insert(*difference.live);
        }
    }
    return out;
}

// Events that fall on one place of the picture.
struct mark {
    std::size_t count = 0;
    bool suspect = false;
    bool contradicted = false;
    bool informational = true;
    const event_record* first = nullptr;
};

struct lane {
    std::map<std::size_t, mark> marks;  // by place
    std::vector<const event_record*> suspects;
    std::vector<const difference_record*> differences;
    std::size_t events = 0;
};

void add(const event_record& event, bool suspect, std::size_t place, lane& out) {
    mark& at = out.marks[place];
    at.first = at.first == nullptr ? &event : at.first;
    at.suspect = at.suspect || suspect;
    at.contradicted = at.contradicted || is_contradicted(event);
    at.informational = at.informational && is_informational(event);
    ++at.count;
    ++out.events;
    if (suspect && !is_informational(event)) {
        out.suspects.push_back(&event);
    }
}

using lanes = std::map<std::uint32_t, lane>;  // by PCR; what stands for no PCR gets a lane behind all

lanes lanes_of(const run_record& record) {
    lanes out;
    const std::vector<event_record>& events = record.events;
    const positions parting = parting_events(record);
    const std::size_t places = std::min(events.size(), most_marks);
    const auto lane_at = [&out](std::uint32_t pcr) -> lane& {
        return out[std::min(pcr, static_cast<std::uint32_t>(pcr_count))];
    };
    for (std::size_t i = 0; i < events.size(); ++i) {
        const bool suspect = events[i].suspect || parting.contains(events[i].position);
        add(events[i], suspect, i * places / events.size(), lane_at(events[i].pcr));
    }
    for (const difference_record& difference : record.differences) {
        if (parts(difference)) {
            lane_at(difference.pcr).differences.push_back(&difference);
        }
    }
    return out;
}

markup css_of(const mark& at) {
    if (at.contradicted) {
        return "mark wrong";
    }
    if (at.suspect) {
        return "mark suspect";
    }
    return at.informational ? markup("mark told") : markup("mark");
}

void write_mark(const mark& at, axis_place x, bool with_tip, html_writer& out) {
    const bool diamond = at.suspect || at.contradicted;
    if (diamond) {
        out.raw("<use href='#diamond' class='").raw(css_of(at)).raw("' x='").percent(x).raw("' y='14'");
    } else {
        out.raw("<circle class='").raw(css_of(at)).raw("' cx='").percent(x).raw("' cy='14' r='");
        out.number(at.count > 1 ? 6 : 5).raw("'");
    }
    if (!with_tip) {
        out.raw("/>");
        return;
    }
    out.raw("><title>").number(at.first->position).raw(": ").text(at.first->says, longest_label).raw("</title>");
    out.raw(diamond ? markup("</use>") : markup("</circle>"));
}

void write_lane_picture(std::uint32_t pcr, const lane& of, std::size_t events, html_writer& out) {
    const std::size_t places = std::min(events, most_marks);
    out.raw("<svg role='img' aria-labelledby='lane-")
        .number(pcr)
        .raw("-t lane-")
        .number(pcr)
        .raw("-d'><title id='lane-");
    out.number(pcr).raw("-t'>Events of ").text(pcr < pcr_count ? "PCR " + std::to_string(pcr) : "no PCR");
    out.raw(" along the boot</title><desc id='lane-").number(pcr).raw("-d'>").text(counted(of.events, "event"));
    out.raw(", ").number(of.suspects.size()).raw(" in doubt</desc>");
    out.raw("<line class='track' x1='0' x2='100%' y1='14' y2='14'/>");
    for (const auto& [place, at] : of.marks) {
        const auto x = static_cast<axis_place>((2 * place + 1) * whole_axis / (2 * places));
        write_mark(at, x, events <= most_tips, out);
    }
    out.raw("</svg>\n");
}

void write_difference_label(const difference_record& difference, html_writer& out) {
    const bool gone = !difference.live;
    out.raw("<li><b>").text(gone ? "-" : std::to_string(*difference.live)).raw("</b> <span><span class='tag'>");
    out.text(difference.kind)
        .raw("</span> ")
        .text(gone ? difference.reference_says : difference.live_says, longest_label);
    out.raw("</span></li>");
}

void write_suspect_label(const event_record& event, html_writer& out) {
    out.raw("<li><b>").number(event.position).raw("</b> <span>").text(event.says, longest_label).raw("</span></li>");
}

template <typename Item>
void write_labels(const std::vector<const Item*>& items, void (*write)(const Item&, html_writer&), html_writer& out) {
    const std::size_t shown = std::min(items.size(), most_labels);
    out.raw("<ol class='labels'>");
    for (std::size_t i = 0; i < shown; ++i) {
        write(*items[i], out);
    }
    out.raw("</ol>");
    write_more(items.size(), shown, "event", out);
}

// What differs from the reference log, else what the events say of which one or another must differ.
void write_lane_labels(const lane& of, html_writer& out) {
    if (!of.differences.empty()) {
        write_labels(of.differences, write_difference_label, out);
    } else if (!of.suspects.empty()) {
        write_labels(of.suspects, write_suspect_label, out);
    }
}

void write_lanes(const run_record& record, html_writer& out) {
    out.raw("<ul class='lanes'>\n");
    for (const auto& [pcr, of] : lanes_of(record)) {
        out.raw("<li class='")
            .raw(of.suspects.empty() && of.differences.empty() ? markup("lane") : markup("lane bad"))
            .raw("'><div class='lane-name'>");
        if (pcr < pcr_count) {
            out.raw("<b>PCR ").number(pcr).raw("</b> ");
        }
        out.raw("<span>").raw(pcr_purpose(pcr)).raw("</span></div>\n<div class='lane-body'>");
        write_lane_picture(pcr, of, record.events.size(), out);
        write_lane_labels(of, out);
        out.raw("</div></li>\n");
    }
    out.raw(
        "</ul>\n<p class='legend'><span><svg class='key' aria-hidden='true'><circle class='mark' cx='7' cy='7' r='5'/>"
        "</svg>measured event</span><span><svg class='key' aria-hidden='true'><circle class='mark told' cx='7' cy='7' "
        "r='5'/></svg>told, not measured</span><span><svg class='key' aria-hidden='true'><use href='#diamond' "
        "class='mark suspect' x='7' y='7'/></svg>in doubt</span><span><svg class='key' "
        "aria-hidden='true'><use href='#diamond' class='mark wrong' x='7' y='7'/></svg>digest contradicts the "
        "data</span></p>\n");
}

// All that are in doubt come first; what room is left, the others get in the order of the log.
std::vector<bool> choose_rows(const std::vector<event_record>& events) {
    std::vector<bool> chosen(events.size(), events.size() <= most_rows);
    std::size_t room = events.size() <= most_rows ? 0 : most_rows;
    for (const bool doubtful : {true, false}) {
        for (std::size_t i = 0; i < events.size() && room > 0; ++i) {
            if (!chosen[i] && (events[i].suspect || is_contradicted(events[i])) == doubtful) {
                chosen[i] = true;
                --room;
            }
        }
    }
    return chosen;
}

void write_event_row(const event_record& event, html_writer& out) {
    const bool doubtful = event.suspect || is_contradicted(event);
    out.raw("<tr")
        .raw(doubtful ? markup(" class='bad'") : markup(""))
        .raw("><th scope='row'>")
        .number(event.position);
    out.raw("</th><td class='n'>").number(event.pcr).raw("</td><td>").text(event.says, longest_label * 2);
    out.raw("<span class='sub'>").text(event.type, longest_label).raw("</span></td><td>").text(event.proof);
    out.raw(event.suspect ? markup("<span class='sub'>PCR differs</span></td></tr>\n") : markup("</td></tr>\n"));
}

void write_event_table(const std::vector<event_record>& events, html_writer& out) {
    const std::vector<bool> chosen = choose_rows(events);
    const auto shown = static_cast<std::size_t>(std::count(chosen.begin(), chosen.end(), true));
    begin_folded("more-facts", "All events", out);
    begin_table("events", "Events in the order of the log", {"No.", "PCR", "What it says", "Digest"}, out);
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (chosen[i]) {
            write_event_row(events[i], out);
        }
    }
    end_table(out);
    write_more(events.size(), shown, "event", out);
    end_folded(out);
}

}  // namespace

bool has_events(const run_record& record) {
    return !record.events.empty() || !record.log_health.empty() || !record.probable_causes.empty();
}

void write_events(const run_record& record, html_writer& out) {
    if (!record.events.empty()) {
        out.raw("<p>")
            .text(counted(record.events.size(), "event"))
            .raw(", from left to right in the order of the log.</p>\n");
        write_lanes(record, out);
    }
    write_log_remarks(record, out);
    if (!record.events.empty()) {
        write_event_table(record.events, out);
    }
}

}  // namespace vellum::reporting
