#include "report/html_parts.h"

#include "base/text.h"

namespace vellum::reporting {
namespace {

constexpr look good = {"good", "passed", "passed"};
constexpr look warned = {"warn", "warned", "warning"};
constexpr look bad = {"bad", "failed", "failed"};
constexpr look skipped = {"none", "skipped", "skipped"};
constexpr look not_started = {"none", "skipped", "not started"};
constexpr look not_applicable = {"none", "skipped", "does not apply"};
constexpr look open_verdict = {"warn", "warned", "no verdict"};

}  // namespace

const look& look_of(stage_result result) {
    switch (result) {
        case stage_result::not_started: return not_started;
        case stage_result::not_applicable: return not_applicable;
        case stage_result::hidden:
        case stage_result::passed: return good;
        case stage_result::warned: return warned;
        case stage_result::skipped: return skipped;
        case stage_result::failed: break;
    }
    return bad;
}

const look& look_of(run_verdict verdict) {
    switch (verdict) {
        case run_verdict::passed:
        case run_verdict::unsealed: return good;
        case run_verdict::refused:
        case run_verdict::failed: return bad;
        default: return open_verdict;
    }
}

// Each but the diamond fills a square of 16: a disc with a tick, a triangle, an octagon with a cross, a ring with a
// bar, a small disc, a small ring, a ring around a disc.
void define_signs(html_writer& out) {
    out.raw(
        "<svg class='signs' aria-hidden='true' focusable='false' width='0' height='0'>"
        "<symbol id='passed' viewBox='0 0 16 16'><circle cx='8' cy='8' r='8'/>"
        "<path class='cut' d='M4.4 8.3l2.5 2.5 4.7-5.1'/></symbol>"
        "<symbol id='warned' viewBox='0 0 16 16'><path d='M8 .8 15.8 15H.2z'/>"
        "<path class='cut' d='M8 6v4.2M8 12.2v.6'/></symbol>"
        "<symbol id='failed' viewBox='0 0 16 16'><path d='M4.7 0h6.6L16 4.7v6.6L11.3 16H4.7L0 11.3V4.7z'/>"
        "<path class='cut' d='M5 5l6 6M11 5l-6 6'/></symbol>"
        "<symbol id='skipped' viewBox='0 0 16 16'><circle class='ring' cx='8' cy='8' r='7'/>"
        "<path class='bar' d='M4.5 8h7'/></symbol>"
        "<symbol id='past' viewBox='0 0 16 16'><circle cx='8' cy='8' r='5'/></symbol>"
        "<symbol id='ahead' viewBox='0 0 16 16'><circle class='ring' cx='8' cy='8' r='4.5'/></symbol>"
        "<symbol id='today' viewBox='0 0 16 16'><circle cx='8' cy='8' r='4'/>"
        "<circle class='ring' cx='8' cy='8' r='7'/></symbol>"
        "<path id='diamond' d='M0-6.5 6.5 0 0 6.5-6.5 0z'/>"
        "</svg>\n");
}

void write_sign(markup name, html_writer& out) {
    out.raw("<svg class='sign' aria-hidden='true' focusable='false'><use href='#").raw(name).raw("'/></svg>");
}

void write_badge(const look& looks, html_writer& out) {
    out.raw("<span class='badge ").raw(looks.css).raw("'>");
    write_sign(looks.sign, out);
    out.raw("<span>").raw(looks.word).raw("</span></span>");
}

void begin_folded(markup css, std::string_view summary, html_writer& out) {
    out.raw("<details class='").raw(css).raw("'><summary>").text(summary).raw("</summary>\n");
}

void end_folded(html_writer& out) {
    out.raw("</details>\n");
}

void begin_table(markup css, std::string_view caption, std::initializer_list<markup> columns, html_writer& out) {
    out.raw("<table class='").raw(css).raw("'><caption>").text(caption).raw("</caption><thead><tr>");
    for (const markup& column : columns) {
        out.raw("<th scope='col'>").raw(column).raw("</th>");
    }
    out.raw("</tr></thead><tbody>\n");
}

void end_table(html_writer& out) {
    out.raw("</tbody></table>\n");
}

void write_more(std::size_t all, std::size_t shown, std::string_view noun, html_writer& out) {
    if (all > shown) {
        out.raw("<p class='more'>... and ").text(counted(all - shown, noun)).raw(" more.</p>\n");
    }
}

void write_fact(markup name, std::string_view says, html_writer& out) {
    if (!says.empty()) {
        out.raw("<div><dt>").raw(name).raw("</dt><dd>").text(says).raw("</dd></div>\n");
    }
}

void write_words(const words& meaning, html_writer& out) {
    out.raw("<dl class='words'><div><dt>What it means</dt><dd>").prose(meaning.meaning);
    out.raw("</dd></div><div><dt>Likely cause</dt><dd>").prose(meaning.likely_cause);
    out.raw("</dd></div><div><dt>What to do</dt><dd>").prose(meaning.what_to_do.text);
    out.raw("</dd></div><div><dt>Who</dt><dd>").prose(person_name(meaning.what_to_do.who));
    out.raw("</dd></div></dl>\n");
}

void write_stage_link(const stage_record& stage, html_writer& out) {
    out.raw("<a href='#stage-").text(stage.id).raw("'>").text(stage.title).raw("</a>");
}

}  // namespace vellum::reporting
