// What was found about the event log: probable causes and differences from the reference log, and its health.
#include <algorithm>

#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

constexpr std::size_t most_remarks = 100;
constexpr std::size_t most_causes = 50;
constexpr std::size_t most_differences = 200;
constexpr std::size_t most_changes = 8;  // of an event
constexpr std::size_t longest_change = 200;

void write_causes(const std::vector<probable_cause_record>& causes, html_writer& out) {
    if (causes.empty()) {
        return;
    }
    const std::size_t shown = std::min(causes.size(), most_causes);
    out.raw("<h3>Probable causes</h3>\n<ul class='plain'>");
    for (std::size_t i = 0; i < shown; ++i) {
        out.raw("<li>").text(causes[i].says).raw("<span class='sub'>").text(causes[i].act).raw(" <code class='id'>");
        out.text(causes[i].id).raw("</code></span></li>\n");
    }
    out.raw("</ul>\n");
    write_more(causes.size(), shown, "cause", out);
}

void write_position(const std::optional<std::size_t>& position, html_writer& out) {
    if (position) {
        out.number(*position);
    } else {
        out.raw("&ndash;");
    }
}

void write_changes(const difference_record& difference, html_writer& out) {
    const std::size_t shown = std::min(difference.changes.size(), most_changes);
    if (shown > 0) {
        out.raw("<ul class='changes'>");
        for (std::size_t i = 0; i < shown; ++i) {
            out.raw("<li>").text(difference.changes[i], longest_change).raw("</li>");
        }
        out.raw("</ul>");
    }
    write_more(difference.changes.size(), shown, "change", out);
}

void write_difference(const difference_record& difference, html_writer& out) {
    out.raw("<tr><th scope='row'>").text(difference.kind).raw("<span class='sub'>PCR ").number(difference.pcr);
    out.raw("</span></th><td class='n'>");
    write_position(difference.reference, out);
    out.raw(" / ");
    write_position(difference.live, out);
    out.raw("</td><td>");
    if (!difference.reference_says.empty()) {
        out.raw("<div class='before'>").text(difference.reference_says, longest_change).raw("</div>");
    }
    if (!difference.live_says.empty()) {
        out.raw("<div>").text(difference.live_says, longest_change).raw("</div>");
    }
    write_changes(difference, out);
    out.raw("<span class='sub'>").text(difference.type, longest_change).raw("</span></td></tr>\n");
}

void write_differences(const std::vector<difference_record>& differences, html_writer& out) {
    if (differences.empty()) {
        return;
    }
    const std::size_t shown = std::min(differences.size(), most_differences);
    out.raw("<h3>Differences from the reference log</h3>\n");
    begin_table("differences", "What the reference log says stands above what this boot says",
                {"What", "Reference / boot", "Event"}, out);
    for (std::size_t i = 0; i < shown; ++i) {
        write_difference(differences[i], out);
    }
    end_table(out);
    write_more(differences.size(), shown, "difference", out);
}

void write_health(const std::vector<remark_record>& remarks, html_writer& out) {
    if (remarks.empty()) {
        return;
    }
    const std::size_t shown = std::min(remarks.size(), most_remarks);
    out.raw("<h3>Health of the log</h3>\n<ul class='plain'>");
    for (std::size_t i = 0; i < shown; ++i) {
        out.raw("<li><span class='tag'>").text(remarks[i].severity).raw("</span> ").text(remarks[i].says);
        out.raw(" <code class='id'>").text(remarks[i].id).raw("</code></li>\n");
    }
    out.raw("</ul>\n");
    write_more(remarks.size(), shown, "remark", out);
}

}  // namespace

void write_log_remarks(const run_record& record, html_writer& out) {
    write_causes(record.probable_causes, out);
    write_differences(record.differences, out);
    write_health(record.log_health, out);
}

}  // namespace vellum::reporting
