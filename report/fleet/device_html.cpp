// The page of one device: its runs, and what changed from each to the next.
#include <span>
#include <vector>

#include "report/fleet/fleet_forms.h"
#include "report/fleet/fleet_html.h"
#include "report/html_page.h"

namespace vellum::fleet {
namespace {

using reporting::html_writer;

constexpr std::size_t most_compared = 50;  // pairs of runs

void write_runs(const device_history& device, html_writer& out) {
    reporting::begin_table("fleet", "The latest first", {"Run", "Started", "Verdict", "What was found"}, out);
    for (const device_run& run : device.runs) {
        out.raw("<tr><th scope='row' class='n'>").number(static_cast<std::uint64_t>(run.number)).raw("</th><td>");
        out.time(run.started).raw("<span class='sub'>taken in ").time(run.taken).raw("</span></td><td>");
        write_verdict_badge(run.outcome.verdict, out);
        out.raw("<span class='sub'>").text(evidence_text(run.evidence));
        out.raw("</span></td><td>").text(findings_text(run.outcome)).raw("</td></tr>\n");
    }
    reporting::end_table(out);
    reporting::write_more(static_cast<std::size_t>(device.all), device.runs.size(), "run", out);
}

void write_drift(const device_run& before, const device_run& after, std::span<const run_difference> differences,
                 html_writer& out) {
    out.raw("<h3>Run ").number(static_cast<std::uint64_t>(before.number)).raw(" to run ");
    out.number(static_cast<std::uint64_t>(after.number)).raw("</h3>\n");
    reporting::begin_table("fleet", "What is different", {"What", "Before", "After"}, out);
    for (const run_difference& row : differences) {
        out.raw("<tr><th scope='row'>").text(row.what).raw("</th><td>").text(row.before).raw("</td><td>");
        out.text(row.after).raw("</td></tr>\n");
    }
    reporting::end_table(out);
}

void write_changes(const device_history& device, html_writer& out) {
    bool any = false;
    for (std::size_t i = 0; i + 1 < device.runs.size() && i < most_compared; ++i) {
        const device_run& before = device.runs[i + 1];
        const std::vector<run_difference> differences = differences_between(before, device.runs[i]);
        if (!differences.empty()) {
            write_drift(before, device.runs[i], differences, out);
            any = true;
        }
    }
    if (!any) {
        out.raw("<p>No run differs from the one before it.</p>\n");
    }
}

void write_first_glance(const device_history& device, html_writer& out) {
    const device_run& latest = device.shown;
    out.raw("<section id='verdict' class='verdict ").raw(look_of(latest.outcome.verdict).css);
    out.raw("' aria-labelledby='verdict-says'>\n<h1 id='verdict-says'>");
    reporting::write_sign(look_of(latest.outcome.verdict).sign, out);
    out.raw("<span>")
        .text(device.label, 200)
        .raw("</span></h1>\n<p class='lead'>Shown by run ")
        .number(static_cast<std::uint64_t>(latest.number))
        .raw(": ");
    out.raw(look_of(latest.outcome.verdict).word).raw(", ").text(evidence_text(latest.evidence));
    out.raw(", ").time(latest.started).raw(".</p>\n<dl class='facts'>\n");
    reporting::write_fact("Cause", latest.outcome.cause.empty() ? "" : finding_text(latest.outcome.cause), out);
    reporting::write_fact("Product", latest.facts.product, out);
    reporting::write_fact("Serial", latest.serial, out);
    reporting::write_fact("System firmware", latest.facts.bios_version, out);
    reporting::write_fact("Operating system", latest.facts.os_version, out);
    reporting::write_fact("Attestation key", latest.key_name, out);
    out.raw("</dl>\n</section>\n");
}

[[nodiscard]] bool always(const device_history&) {
    return true;
}

constexpr reporting::page_section<device_history> sections[] = {
    {"runs", "Runs", always, write_runs},
    {"changes", "Changes", always, write_changes},
};

}  // namespace

std::string html_form(const device_history& device) {
    html_writer out;
    reporting::write_page_head(device.label + " - vellum fleet", out);
    out.raw("<body>\n<a class='skip' href='#verdict'>Skip to the verdict</a>\n");
    reporting::define_signs(out);
    out.raw("<div class='frame'>\n<header class='top'>\n<p class='product'>Device of the fleet</p>\n</header>\n");
    reporting::write_navigation<device_history>("Verdict", sections, device, out);
    out.raw("<main>\n");
    write_first_glance(device, out);
    reporting::write_sections<device_history>(sections, device, out);
    write_page_end(out);
    return out.take();
}

}  // namespace vellum::fleet
