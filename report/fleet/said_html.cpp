// What speaks against the run by which a device is shown, as sections of the overview's page.
#include "report/fleet/fleet_html.h"
#include "report/html_page.h"

namespace vellum::fleet {
namespace {

using reporting::html_writer;
using reporting::markup;

void write_said_rows(const bounded_rows<said_row>& list, html_writer& out) {
    for (const said_row& row : list.rows) {
        out.raw("<tr><th scope='row'>").text(row.device, 200).raw("</th><td>");
        write_verdict_badge(row.shown.verdict, out);
        out.raw("<span class='sub'>").raw(row.verified ? markup("verified, ") : markup("")).time(row.shown_seen);
        out.raw("</span></td><td>");
        write_verdict_badge(row.said.verdict, out);
        out.raw("<span class='sub'>").text(outcome_title(row.said)).raw("</span><span class='sub'>");
        out.time(row.said_seen).raw("</span></td></tr>\n");
    }
    reporting::end_table(out);
    reporting::write_more(static_cast<std::size_t>(list.all), list.rows.size(), "device", out);
}

}  // namespace

void write_refused(const overview& fleet, html_writer& out) {
    out.raw(
        "<p>The verifier refused what these devices sent, after the last proof that they gave, if they gave one. "
        "Nothing is known of them since: look at each, and verify it anew.</p>\n");
    reporting::begin_table("fleet", "Evidence that the verifier refused", {"Device", "Shown as", "Refused"}, out);
    write_said_rows(fleet.refused, out);
}

void write_unproved(const overview& fleet, html_writer& out) {
    out.raw(
        "<p>These devices are counted by their latest verified run. A later report that nothing signs says "
        "something else: somebody made it up, or the device is another by now. Verify them anew.</p>\n");
    reporting::begin_table("fleet", "The worst of the unverified reports that came after a verified one",
                           {"Device", "Shown as", "Said later"}, out);
    write_said_rows(fleet.unproved, out);
}

}  // namespace vellum::fleet
