// The page of an overview: sections from a table, each left out when it has nothing to show.
#include <algorithm>
#include <span>

#include "base/text.h"
#include "report/fleet/fleet_forms.h"
#include "report/fleet/fleet_html.h"
#include "report/html_page.h"
#include "report/words.h"

namespace vellum::fleet {
namespace {

using reporting::axis_place;
using reporting::html_writer;
using reporting::markup;
using reporting::whole_axis;

std::uint64_t count_of(std::int64_t number) {
    return number > 0 ? static_cast<std::uint64_t>(number) : 0;
}

std::string devices_text(std::int64_t number) {
    return counted(static_cast<std::size_t>(count_of(number)), "device");
}

axis_place share_of(std::int64_t part, std::int64_t whole) {
    if (whole <= 0 || part <= 0) {
        return 0;
    }
    const double share = static_cast<double>(part) / static_cast<double>(whole);
    return std::clamp(static_cast<axis_place>(share * whole_axis), 1U, whole_axis);
}

// The first glance ------------------------------------------------------------------------------------------------

std::int64_t all_of(const verdict_count& row) {
    return row.verified + row.unverified;
}

// The worst that a device came to. A refusal since a proof is no good news either.
const reporting::look& tone_of(const overview& fleet) {
    const std::string_view worst_first[] = {"refused", "failed", "interrupted", "ended_early", "skipped"};
    for (const std::string_view verdict : worst_first) {
        if (std::any_of(fleet.verdicts.begin(), fleet.verdicts.end(),
                        [verdict](const verdict_count& row) { return row.verdict == verdict; })) {
            return look_of(verdict);
        }
    }
    static constexpr reporting::look doubtful = {"warn", "warned", "in doubt"};
    return fleet.refused.all > 0 ? doubtful : look_of(fleet.devices > 0 ? "passed" : "skipped");
}

void write_bar(const overview& fleet, html_writer& out) {
    if (fleet.devices == 0) {
        return;
    }
    out.raw(
        "<svg class='fleet-bar' role='img' aria-labelledby='bar-title'><title id='bar-title'>"
        "The devices by verdict, as the table says</title>");
    axis_place place = 0;
    for (const verdict_count& row : fleet.verdicts) {
        const axis_place width =
            std::min(share_of(all_of(row), fleet.devices), whole_axis - std::min(place, whole_axis));
        out.raw("<rect class='").raw(look_of(row.verdict).css).raw("' height='34' x='").percent(place);
        out.raw("' width='").percent(width).raw("'><title>").raw(look_of(row.verdict).word).raw(": ");
        out.text(devices_text(all_of(row))).raw("</title></rect>");
        place += width;
    }
    out.raw("</svg>\n");
}

void write_verdict_table(const overview& fleet, html_writer& out) {
    reporting::begin_table("fleet", "Devices by the verdict of the run that they are shown by",
                           {"Verdict", "Devices", "Verified", "Unverified"}, out);
    for (const verdict_count& row : fleet.verdicts) {
        out.raw("<tr><th scope='row'>");
        write_verdict_badge(row.verdict, out);
        out.raw("</th><td class='n'>").number(count_of(all_of(row))).raw("</td><td class='n'>");
        out.number(count_of(row.verified))
            .raw("</td><td class='n'>")
            .number(count_of(row.unverified))
            .raw("</td></tr>\n");
    }
    reporting::end_table(out);
}

void write_remark(std::int64_t count, markup link, std::string_view says, html_writer& out) {
    if (count > 0) {
        out.raw("<li><a href='#")
            .raw(link)
            .raw("'>")
            .text(devices_text(count))
            .raw("</a> ")
            .text(says)
            .raw("</li>\n");
    }
}

void write_first_glance(const overview& fleet, html_writer& out) {
    const reporting::look& looks = tone_of(fleet);
    out.raw("<section id='verdict' class='verdict ").raw(looks.css).raw("' aria-labelledby='verdict-says'>\n");
    out.raw("<h1 id='verdict-says'>");
    reporting::write_sign(looks.sign, out);
    out.raw("<span>").number(count_of(fleet.passed_devices)).raw(" of ").text(devices_text(fleet.devices));
    out.raw(" passed</span></h1>\n<ul class='plain'>\n");
    write_remark(fleet.refused.all, "refused", "whose evidence the verifier refused since", out);
    write_remark(fleet.unproved.all, "unproved", "said something else later, without proof", out);
    write_remark(fleet.changed_devices, "changes", "came to something else than the run before", out);
    write_remark(fleet.doubtful_clocks.all, "clocks", "with a clock that is in doubt", out);
    write_remark(fleet.not_seen.all, "not-seen", "not seen lately", out);
    write_remark(fleet.expiring.all, "expiring", "with a PMF or certificate that expires soon or has expired", out);
    out.raw("</ul>\n");
    write_bar(fleet, out);
    write_verdict_table(fleet, out);
    out.raw("</section>\n");
}

// Groups ----------------------------------------------------------------------------------------------------------

void write_examples(const std::vector<std::string>& examples, std::int64_t devices, html_writer& out) {
    markup before = "";
    for (const std::string& example : examples) {
        out.raw(before).raw("<code>").text(example, 200).raw("</code>");
        before = ", ";
    }
    if (devices > static_cast<std::int64_t>(examples.size())) {
        out.raw(" ...");
    }
}

void write_remedy(const run_outcome& outcome, html_writer& out) {
    const words* const meaning = words_of(outcome.cause);
    if (meaning == nullptr) {
        return;
    }
    out.raw("<p><strong>").prose(first_sentence(meaning->what_to_do.text)).raw("</strong> <span class='tag'>");
    out.text(cause_class_name(meaning->cause)).raw("</span></p>\n");
}

void write_group(const group_row& group, std::int64_t devices, html_writer& out) {
    const reporting::look& looks = look_of(group.outcome.verdict);
    out.raw("<li class='").raw(looks.css).raw("'><h3>");
    write_verdict_badge(group.outcome.verdict, out);
    out.raw("<b>").text(devices_text(group.devices)).raw("</b> <span>").text(outcome_title(group.outcome));
    out.raw(
        "</span></h3><svg class='share' aria-hidden='true' focusable='false'>"
        "<rect class='ground' width='100%' height='8'/><rect height='8' width='");
    out.percent(share_of(group.devices, devices)).raw("'/></svg>\n");
    write_remedy(group.outcome, out);
    if (const std::string findings = findings_text(group.outcome); !findings.empty()) {
        out.raw("<p>Findings: ").text(findings).raw("</p>\n");
    }
    out.raw("<p class='small'>").number(count_of(group.verified)).raw(" verified; runs from ").time(group.first_seen);
    out.raw(" to ").time(group.last_seen).raw("; first taken in ").time(group.first_taken).raw("</p>\n");
    out.raw("<p class='small'>");
    write_examples(group.examples, group.devices, out);
    out.raw("</p></li>\n");
}

void write_group_list(const bounded_rows<group_row>& groups, std::int64_t devices, html_writer& out) {
    out.raw("<ul class='groups'>\n");
    for (const group_row& group : groups.rows) {
        write_group(group, devices, out);
    }
    out.raw("</ul>\n");
    reporting::write_more(count_of(groups.all), groups.rows.size(), "group", out);
    if (static_cast<std::size_t>(groups.all) > groups.rows.size()) {
        out.raw("<p class='more'>The form for spreadsheets (--csv) has every device.</p>\n");
    }
}

void write_groups(const overview& fleet, html_writer& out) {
    out.raw(
        "<p>Devices whose runs came to the same verdict, cause and findings. "
        "Those that did not pass come first.</p>\n");
    write_group_list(fleet.groups, fleet.devices, out);
}

void write_outliers(const overview& fleet, html_writer& out) {
    out.raw("<p>Groups of ").number(few_devices).raw(" devices at most.</p>\n");
    write_group_list(fleet.outliers, fleet.devices, out);
}

// Lists -----------------------------------------------------------------------------------------------------------

void write_outcome_cell(const run_outcome& outcome, html_writer& out) {
    out.raw("<td>");
    write_verdict_badge(outcome.verdict, out);
    if (!outcome.findings.empty() || !outcome.cause.empty()) {
        out.raw("<span class='sub'>").text(outcome_title(outcome)).raw("</span>");
    }
    out.raw("</td>");
}

void write_changes(const overview& fleet, html_writer& out) {
    reporting::begin_table("fleet", "Devices whose run came to something else than the one before it",
                           {"Devices", "Before", "Now", "Examples"}, out);
    for (const change_row& row : fleet.changes.rows) {
        out.raw("<tr><th scope='row' class='n'>").number(count_of(row.devices)).raw("</th>");
        write_outcome_cell(row.before, out);
        write_outcome_cell(row.now, out);
        out.raw("<td>");
        write_examples(row.examples, row.devices, out);
        out.raw("</td></tr>\n");
    }
    reporting::end_table(out);
    reporting::write_more(count_of(fleet.changes.all), fleet.changes.rows.size(), "change", out);
}

void write_time_rows(std::span<const device_time_row> rows, std::string_view caption, const markup& column,
                     html_writer& out) {
    reporting::begin_table("fleet times", caption, {"Device", column, "Verdict"}, out);
    for (const device_time_row& row : rows) {
        out.raw("<tr><th scope='row'>").text(row.device, 200).raw("</th><td>").time(row.time).raw("</td><td>");
        write_verdict_badge(row.verdict, out);
        out.raw("<span class='sub'>").raw(row.verified ? markup("verified") : markup("unverified"));
        out.raw("</span></td></tr>\n");
    }
    reporting::end_table(out);
}

// The first are seen at once, the others when somebody asks.
void write_times(const bounded_rows<device_time_row>& list, std::string_view caption, const markup& column,
                 html_writer& out) {
    constexpr std::size_t most_at_once = 10;
    const std::span<const device_time_row> rows = list.rows;
    const std::size_t at_once = std::min(rows.size(), most_at_once);
    write_time_rows(rows.first(at_once), caption, column, out);
    if (rows.size() > at_once) {
        reporting::begin_folded("more-facts",
                                "The next " + devices_text(static_cast<std::int64_t>(rows.size() - at_once)), out);
        write_time_rows(rows.subspan(at_once), "In the same order", column, out);
        reporting::end_folded(out);
    }
    reporting::write_more(count_of(list.all), list.rows.size(), "device", out);
}

void write_clocks(const overview& fleet, html_writer& out) {
    out.raw(
        "<p>A run of these devices began more than a day before or after it was taken in. Its clock is wrong, or the "
        "report came late.</p>\n");
    write_times(fleet.doubtful_clocks, "Devices by the start that their run claims", "Claimed start", out);
}

std::string days_text(std::int64_t days) {
    return counted(static_cast<std::size_t>(count_of(days)), "day");
}

void write_not_seen(const overview& fleet, html_writer& out) {
    write_times(fleet.not_seen, "Devices without a run in the last " + days_text(fleet.settings.not_seen_days),
                "Last seen", out);
}

void write_expiring(const overview& fleet, html_writer& out) {
    write_times(fleet.expiring,
                "What expires first, PMF or certificate, within " + days_text(fleet.settings.expiring_days) +
                    "; of " + devices_text(fleet.expired) + " it has",
                "Expires", out);
}

struct version_name {
    std::string_view column;
    markup title;
};
constexpr version_name version_names[] = {
    {"product", "Product"},
    {"bios_version", "System firmware"},
    {"os_version", "Operating system"},
    {"orbis_version", "Management firmware"},
    {"firmware_version", "Firmware's side of the interface"},
    {"driver_version", "Interface driver"},
    {"seal_state", "State of the seal"},
    {"tool_version", "Program that made the report"},
};

void write_version(const version_row& version, const overview& fleet, html_writer& out) {
    const auto* const name = std::find_if(std::begin(version_names), std::end(version_names),
                                          [&](const version_name& row) { return row.column == version.what; });
    out.raw("<h3>").raw(name != std::end(version_names) ? name->title : markup("Version")).raw("</h3>\n");
    reporting::begin_table("fleet", "The most frequent first", {"Value", "Devices", "Which, where they are few"},
                           out);
    for (const value_row& row : version.values.rows) {
        out.raw("<tr><th scope='row'>")
            .text(row.value, 200)
            .raw(
                "<svg class='share' aria-hidden='true' focusable='false'>"
                "<rect class='ground' width='100%' height='8'/><rect class='none' height='8' width='");
        out.percent(share_of(row.devices, fleet.devices)).raw("'/></svg></th><td class='n'>");
        out.number(count_of(row.devices)).raw("</td><td>");
        if (!row.examples.empty()) {
            write_examples(row.examples, row.devices, out);
        }
        out.raw("</td></tr>\n");
    }
    reporting::end_table(out);
    reporting::write_more(count_of(version.values.all), version.values.rows.size(), "value", out);
}

void write_versions(const overview& fleet, html_writer& out) {
    for (const version_row& version : fleet.versions) {
        write_version(version, fleet, out);
    }
}

void write_database(const overview& fleet, html_writer& out) {
    out.raw("<dl class='facts'>\n");
    reporting::write_fact("Devices", std::to_string(fleet.devices), out);
    reporting::write_fact("Shown by proof", devices_text(fleet.verified_devices), out);
    reporting::write_fact("Runs", std::to_string(fleet.runs), out);
    out.raw("<div><dt>Looked over</dt><dd>").time(fleet.settings.now).raw("</dd></div>\n");
    if (fleet.last_taken) {
        out.raw("<div><dt>Last taken in</dt><dd>").time(*fleet.last_taken).raw("</dd></div>\n");
    }
    out.raw(
        "</dl>\n<p class='small'>Verified: the evidence of the run was accepted. Unverified: the device's word, or "
        "that of whoever made the report.</p>\n");
}

constexpr reporting::page_section<overview> sections[] = {
    {"refused", "Evidence refused", [](const overview& fleet) { return fleet.refused.all > 0; }, write_refused},
    {"unproved", "Said without proof", [](const overview& fleet) { return fleet.unproved.all > 0; }, write_unproved},
    {"clocks", "Clocks in doubt", [](const overview& fleet) { return fleet.doubtful_clocks.all > 0; }, write_clocks},
    {"groups", "Groups", [](const overview& fleet) { return fleet.groups.all > 0; }, write_groups},
    {"changes", "New since last time", [](const overview& fleet) { return fleet.changes.all > 0; }, write_changes},
    {"not-seen", "Not seen", [](const overview& fleet) { return fleet.not_seen.all > 0; }, write_not_seen},
    {"expiring", "Expiring", [](const overview& fleet) { return fleet.expiring.all > 0; }, write_expiring},
    {"outliers", "Outliers", [](const overview& fleet) { return fleet.outliers.all > 0; }, write_outliers},
    {"versions", "Versions", [](const overview& fleet) { return !fleet.versions.empty(); }, write_versions},
    {"database", "Database", [](const overview&) { return true; }, write_database},
};

}  // namespace

std::string html_form(const overview& fleet) {
    html_writer out;
    reporting::write_page_head(
        std::to_string(fleet.passed_devices) + " of " + devices_text(fleet.devices) + " passed - vellum fleet", out);
    out.raw("<body>\n<a class='skip' href='#verdict'>Skip to the verdicts</a>\n");
    reporting::define_signs(out);
    out.raw("<div class='frame'>\n<header class='top'>\n<p class='product'>Fleet</p>\n<p>");
    out.time(fleet.settings.now).raw("</p>\n</header>\n");
    reporting::write_navigation<overview>("Verdicts", sections, fleet, out);
    out.raw("<main>\n");
    write_first_glance(fleet, out);
    reporting::write_sections<overview>(sections, fleet, out);
    write_page_end(out);
    return out.take();
}

}  // namespace vellum::fleet
