// The first glance: what the verdict is, why, what to do now and who.
#include <algorithm>

#include "base/text.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

// Of the stages that took part: one that does not apply to the mode is no part of the picture.
std::vector<const stage_record*> stages_that_apply(const run_record& record) {
    std::vector<const stage_record*> out;
    for (const stage_record& stage : record.stages) {
        if (stage.result != stage_result::not_applicable && stage.result != stage_result::not_started) {
            out.push_back(&stage);
        }
    }
    return out;
}

std::string counts_text(const run_record& record) {
    const stage_counts counts = count_stages(record);
    std::string out = counted(counts.passed, "stage") + " passed";
    out += counts.warned > 0 ? " (" + std::to_string(counts.warned) + " with a warning)" : "";
    out += ", " + std::to_string(counts.failed) + " failed, " + std::to_string(counts.skipped) + " skipped";
    return out;
}

struct bar_shape {
    markup css;
    unsigned height;  // pixels, of picture_height
};
constexpr unsigned picture_height = 28;
constexpr std::size_t fewest_bars = 6;  // fewer are no picture

constexpr bar_shape short_bar = {"good", 12};
constexpr bar_shape middle_bar = {"warn", 20};
constexpr bar_shape tall_bar = {"bad", picture_height};
constexpr bar_shape hollow_bar = {"none", 12};

bar_shape bar_of(stage_result result) {
    switch (result) {
        case stage_result::failed: return tall_bar;
        case stage_result::warned: return middle_bar;
        case stage_result::passed:
        case stage_result::hidden: return short_bar;
        default: return hollow_bar;
    }
}

// A bar a stage, the higher the worse.
void write_stage_bars(const run_record& record, html_writer& out) {
    const std::vector<const stage_record*> stages = stages_that_apply(record);
    if (stages.size() < fewest_bars) {
        return;
    }
    out.raw(
        "<svg class='stage-bars' role='img' aria-labelledby='bars-title bars-desc'>"
        "<title id='bars-title'>The stages in the order of the run</title><desc id='bars-desc'>");
    out.text(counts_text(record)).raw("</desc>");
    const auto step = whole_axis / static_cast<axis_place>(stages.size());
    axis_place place = 0;
    for (const stage_record* stage : stages) {
        const bar_shape shape = bar_of(stage->result);
        out.raw("<rect class='").raw(shape.css).raw("' x='").percent(place).raw("' y='");
        out.number(picture_height - shape.height).raw("' width='").percent(step * 4 / 5).raw("' height='");
        out.number(shape.height).raw("'><title>").text(stage->title).raw(": ").raw(look_of(stage->result).word);
        out.raw("</title></rect>");
        place += step;
    }
    out.raw("</svg>\n");
}

std::string sentence_without_cause(const run_record& record) {
    const stage_counts counts = count_stages(record);
    if (record.verdict == run_verdict::unsealed) {
        return "The firmware took the command; the seal no longer protects this device.";
    }
    if (counts.passed == 0) {
        return "No stage has judged anything.";
    }
    std::string out = counts.skipped + counts.failed == 0 ? "All " + counted(counts.passed, "stage") + " passed"
                                                          : counted(counts.passed, "stage") + " passed";
    out += counts.warned > 0 ? ", " + std::to_string(counts.warned) + " with a warning" : "";
    out += counts.skipped > 0 ? ", " + std::to_string(counts.skipped) + " were skipped" : "";
    return out + '.';
}

void write_cause(const run_record& record, html_writer& out) {
    const words& cause = *record.cause;
    out.raw("<p class='lead'>").prose(cause.title).raw(".</p>\n");
    if (!record.cause_says.empty() && record.cause_says != cause.title) {
        out.raw("<p class='evidence'>").text(record.cause_says).raw("</p>\n");
    }
    const std::string_view all = cause.what_to_do.text;
    const std::string_view first = first_sentence(all);
    out.raw("<div class='todo'><h2>What to do now</h2><p><strong>").prose(first).raw("</strong>");
    out.prose(all.substr(first.size())).raw("</p></div>\n<dl class='facts'><div><dt>Who</dt><dd>");
    out.prose(person_name(cause.what_to_do.who)).raw("</dd></div>");
    if (const stage_record* const stage = stage_of_cause(record)) {
        out.raw("<div><dt>Where</dt><dd>");
        write_stage_link(*stage, out);
        out.raw("</dd></div>");
    }
    if (!record.probable_causes.empty()) {
        out.raw("<div><dt>This boot</dt><dd>").text(record.probable_causes.front().says).raw("</dd></div>");
    }
    out.raw("<div><dt>Likely cause</dt><dd>").prose(cause.likely_cause).raw("</dd></div></dl>\n");
}

void write_cautions_count(const run_record& record, html_writer& out) {
    if (!record.cautions.empty()) {
        out.raw(" &middot; <a href='#cautions'>").text(counted(record.cautions.size(), "caution")).raw("</a>");
    }
}

struct verdict_row {
    std::string_view mode;  // empty: any
    run_verdict verdict;
    markup says;
};

constexpr verdict_row verdict_rows[] = {
    {"compare", run_verdict::passed, "Comparison passed"},
    {"compare", run_verdict::failed, "Comparison failed"},
    {"unseal", run_verdict::failed, "Unsealing failed"},
    {"unseal", run_verdict::ended_early, "The device was not unsealed"},
    {"", run_verdict::passed, "Validation passed"},
    {"", run_verdict::failed, "Validation failed"},
    {"", run_verdict::skipped, "Nothing was judged"},
    {"", run_verdict::refused, "The evidence is refused"},
    {"", run_verdict::unsealed, "The device is unsealed"},
    {"", run_verdict::interrupted, "No verdict: the run was interrupted"},
    {"", run_verdict::ended_early, "No verdict: the run ended early"},
};

}  // namespace

markup verdict_words(const run_record& record) {
    const auto* const row =
        std::find_if(std::begin(verdict_rows), std::end(verdict_rows), [&record](const verdict_row& candidate) {
            return candidate.verdict == record.verdict && (candidate.mode.empty() || candidate.mode == record.mode);
        });
    return row->says;
}

void write_verdict(const run_record& record, html_writer& out) {
    const look& looks = look_of(record.verdict);
    out.raw("<section id='verdict' class='verdict ").raw(looks.css).raw("' aria-labelledby='verdict-says'>\n");
    out.raw("<h1 id='verdict-says'>");
    write_sign(looks.sign, out);
    out.raw("<span>").raw(verdict_words(record)).raw("</span></h1>\n");
    if (record.cause != nullptr) {
        write_cause(record, out);
    } else {
        out.raw("<p class='lead'>").text(sentence_without_cause(record)).raw("</p>\n");
    }
    if (record.verdict == run_verdict::passed && record.pmf.expires) {
        out.raw("<p>The PMF expires on ").day(*record.pmf.expires).raw(", in ");
        out.text(span_text(static_cast<std::int64_t>(static_cast<std::uint64_t>(*record.pmf.expires) -
                                                     static_cast<std::uint64_t>(record.started))))
            .raw(".</p>\n");
    }
    write_stage_bars(record, out);
    out.raw("<p class='counts'>");
    if (!stages_that_apply(record).empty()) {
        out.text(counts_text(record)).raw(" &middot; ");
    }
    out.raw("exit code ").text(std::to_string(record.exit_code));
    write_cautions_count(record, out);
    out.raw("</p>\n</section>\n");
}

}  // namespace vellum::reporting
