// The page as a whole: its head, its landmarks, and its sections from a table.
#include "report/forms.h"
#include "report/html_page.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

[[nodiscard]] bool always(const run_record&) {
    return true;
}

constexpr page_section<run_record> sections[] = {
    {"evidence", "What is proved", has_evidence, write_evidence},
    {"stages", "Stages", has_stages, write_stages},
    {"said", "What the run said", has_other_findings, write_other_findings},
    {"pcrs", "PCRs", has_pcrs, write_pcrs},
    {"boot", "This boot", has_events, write_events},
    {"partitions", "Partitions", has_partitions, write_partitions},
    {"history", "The seal in time", has_history, write_history},
    {"chain", "Certificates", has_certificates, write_certificates},
    {"cautions", "Cautions", has_cautions, write_cautions},
    {"device", "Device", has_device, write_device},
    {"inputs", "Inputs", has_inputs, write_inputs},
    {"run", "This run", always, write_run},
};

void write_head(const run_record& record, html_writer& out) {
    const std::string product = record.device.product.empty() ? "" : " - " + record.device.product;
    write_page_head(std::string(verdict_words(record).text()) + product + " - vellum report", out);
}

void write_header(const run_record& record, html_writer& out) {
    out.raw("<header class='top'>\n<p class='product'>");
    out.text(record.device.product.empty() ? "Vellum report" : record.device.product).raw("</p>\n");
    if (!record.device.id.empty()) {
        out.raw("<p>Device ID ").text(record.device.id).raw("</p>\n");
    }
    if (!record.host.empty()) {
        out.raw("<p class='host'>")
            .raw(record.device_folder.empty() ? markup("on ") : markup("judged on "))
            .text(record.host);
        out.raw("</p>\n");
    }
    out.raw("<p>").time(record.started).raw("</p>\n</header>\n");
}

}  // namespace

std::string html_form(const run_record& record) {
    html_writer out;
    write_head(record, out);
    out.raw("<body>\n<a class='skip' href='#verdict'>Skip to the verdict</a>\n");
    define_signs(out);
    out.raw("<div class='frame'>\n");
    write_header(record, out);
    write_navigation<run_record>("Verdict", sections, record, out);
    out.raw("<main>\n");
    write_verdict(record, out);
    write_sections<run_record>(sections, record, out);
    out.raw("</main>\n<footer>Made by vellum-report ").text(record.tool_version);
    out.raw(" without script; it loads nothing. Times are UTC.</footer>\n</div>\n</body>\n</html>\n");
    return out.take();
}

}  // namespace vellum::reporting
