// The stages with what they found, and the findings of no stage.
#include <algorithm>

#include "base/text.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

// A comparison of logs may find something about each event: a page shows the first, the log file has all.
constexpr std::size_t most_findings = 60;  // of a stage
constexpr std::size_t most_lines = 60;     // of a finding
constexpr std::size_t most_lines_of_page = 1500;
constexpr std::size_t longest_line = 400;

// How many lines and fields the page may still show.
struct allowance {
    std::size_t lines = most_lines_of_page;
};

void write_lines(const std::vector<std::string>& lines, allowance& left, html_writer& out) {
    const std::size_t shown = std::min({lines.size(), most_lines, left.lines});
    left.lines -= shown;
    if (shown > 0) {
        out.raw("<pre>");
        for (std::size_t i = 0; i < shown; ++i) {
            out.text(without_line_end(lines[i]), longest_line).raw("\n");
        }
        out.raw("</pre>\n");
    }
    write_more(lines.size(), shown, "line", out);
}

void write_fields(const std::vector<finding_field>& fields, allowance& left, html_writer& out) {
    const std::size_t shown = std::min({fields.size(), most_lines, left.lines});
    left.lines -= shown;
    if (shown > 0) {
        out.raw("<dl class='fields'>");
        for (std::size_t i = 0; i < shown; ++i) {
            out.raw("<div><dt>").text(fields[i].name).raw("</dt><dd><code>").text(fields[i].value, longest_line);
            out.raw("</code></dd></div>");
        }
        out.raw("</dl>\n");
    }
    write_more(fields.size(), shown, "field", out);
}

enum class telling { briefly, fully };

// As deep as its place on the page.
void write_title(const finding_record& finding, const markup& heading, html_writer& out) {
    out.raw("<").raw(heading).raw(" class='finding'>").prose(finding.meaning->title).raw(" <code class='id'>");
    out.text(finding.id).raw("</code></").raw(heading).raw(">\n");
}

// Findings that follow each other and mean the same are explained once, behind the last of them.
void write_findings(const std::vector<finding_record>& findings, const markup& heading, telling how, allowance& left,
                    html_writer& out) {
    const std::size_t shown = std::min(findings.size(), most_findings);
    const words* meaning = nullptr;
    for (std::size_t i = 0; i < shown; ++i) {
        const finding_record& finding = findings[i];
        if (finding.meaning != nullptr && finding.meaning != meaning) {
            write_title(finding, heading, out);
        }
        meaning = finding.meaning;
        write_lines(finding.lines, left, out);
        write_fields(finding.fields, left, out);
        const bool last = i + 1 == shown || findings[i + 1].meaning != meaning;
        if (meaning != nullptr && last && how == telling::fully) {
            write_words(*meaning, out);
        }
    }
    write_more(findings.size(), shown, "finding", out);
}

const stage_record* find_stage(const run_record& record, std::string_view id) {
    const auto found = std::find_if(record.stages.begin(), record.stages.end(),
                                    [id](const stage_record& stage) { return stage.id == id; });
    return found == record.stages.end() ? nullptr : &*found;
}

void write_roots(const run_record& record, const stage_record& stage, html_writer& out) {
    if (stage.because_of.empty()) {
        return;
    }
    out.raw("<p>Skipped because of: ");
    markup before = "";
    for (const char* id : stage.because_of) {
        if (const stage_record* const root = find_stage(record, id)) {
            out.raw(before);
            write_stage_link(*root, out);
            before = ", ";
        }
    }
    out.raw("</p>\n");
}

void write_stage(const run_record& record, const stage_record& stage, allowance& left, html_writer& out) {
    const look& looks = look_of(stage.result);
    const bool wanting = stage.result == stage_result::failed || stage.result == stage_result::warned;
    out.raw("<details class='stage ").raw(looks.css).raw("'").raw(wanting ? markup(" open") : markup(""));
    out.raw("><summary><h3>").text(stage.title).raw("</h3>");
    if (!stage.note.empty()) {
        out.raw("<span class='note'>").text(stage.note).raw("</span>");
    }
    if (stage.rests_on != nullptr) {
        out.raw("<span class='note'>")
            .raw(stage.rests_on == std::string_view("signed") ? markup("signed evidence")
                                                              : markup("the device's word"));
        out.raw("</span>");
    }
    write_badge(looks, out);
    // A link to what stands inside unfolds it.
    out.raw("</summary>\n<div id='stage-").text(stage.id).raw("' class='inside'>\n");
    const words* const own = words_of(stage.id);
    if (own != nullptr) {
        out.raw("<p>").prose(own->meaning).raw("</p>\n");
    }
    if (stage.result == stage_result::hidden) {
        out.raw("<p>It passed, and the validation prints no line for it then.</p>\n");
    }
    write_roots(record, stage, out);
    write_findings(stage.findings, "h4", wanting ? telling::fully : telling::briefly, left, out);
    if (stage.findings.empty() && own != nullptr && stage.result == stage_result::failed) {
        write_words(*own, out);
    }
    out.raw("<p class='small'><code>").text(stage.id).raw("</code> took ").text(duration_text(stage.microseconds));
    out.raw("</p>\n</div></details>\n");
}

bool is_shown(const stage_record& stage) {
    return stage.result != stage_result::not_applicable && stage.result != stage_result::not_started;
}

}  // namespace

bool has_stages(const run_record& record) {
    return std::any_of(record.stages.begin(), record.stages.end(), is_shown);
}

void write_stages(const run_record& record, html_writer& out) {
    allowance left;
    std::size_t shown = 0;
    for (const stage_record& stage : record.stages) {
        if (is_shown(stage)) {
            write_stage(record, stage, left, out);
            ++shown;
        }
    }
    if (shown < record.stages.size()) {
        out.raw("<p class='more'>").text(counted(record.stages.size() - shown, "further stage"));
        out.raw(" took no part in this run.</p>\n");
    }
}

bool has_other_findings(const run_record& record) {
    return !record.other_findings.empty();
}

void write_findings(const std::vector<finding_record>& findings, html_writer& out) {
    allowance left;
    write_findings(findings, "h3", telling::fully, left, out);
}

void write_other_findings(const run_record& record, html_writer& out) {
    write_findings(record.other_findings, out);
}

}  // namespace vellum::reporting
