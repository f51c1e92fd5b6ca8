// What the TPM signed, which stages rest on it, and why a quote is refused.
#include <algorithm>

#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

[[nodiscard]] bool rests_on(const stage_record& stage, std::string_view what) {
    return stage.rests_on != nullptr && stage.rests_on == what;
}

void write_stages_on(const run_record& record, std::string_view what, const markup& heading, html_writer& out) {
    const auto rests = [what](const stage_record& stage) { return rests_on(stage, what); };
    if (std::none_of(record.stages.begin(), record.stages.end(), rests)) {
        return;
    }
    out.raw("<h3>").raw(heading).raw("</h3>\n<ul>\n");
    for (const stage_record& stage : record.stages) {
        if (rests(stage)) {
            out.raw("<li>");
            write_stage_link(stage, out);
            out.raw("</li>\n");
        }
    }
    out.raw("</ul>\n");
}

void write_quote(const quote_facts& quote, html_writer& out) {
    constexpr std::uint64_t milliseconds = 1000;
    write_fact("Resets of the TPM", std::to_string(quote.reset_count), out);
    write_fact("Returns from sleep since", std::to_string(quote.restart_count), out);
    write_fact("Clock of the TPM", std::to_string(quote.clock / milliseconds) + " s that it has been on", out);
    write_fact("The clock has not gone back", quote.safe ? "yes" : "not known", out);
    write_fact("Firmware of the TPM", std::to_string(quote.firmware_version), out);
}

void write_what_is_quoted(const evidence_record& evidence, html_writer& out) {
    write_fact("Key", evidence.key_name, out);
    write_fact("Type of the key", evidence.key_type, out);
    if (evidence.quote) {
        write_quote(*evidence.quote, out);
    }
}

}  // namespace

bool has_evidence(const run_record& record) {
    return record.evidence.has_value();
}

void write_evidence(const run_record& record, html_writer& out) {
    const evidence_record& evidence = *record.evidence;
    if (evidence.accepted) {
        out.raw(
            "<p>The TPM that was enrolled signed the values of the PCRs for this verification. Whatever is only the "
            "device's word can be false without being noticed.</p>\n");
    } else {
        out.raw("<p>Nothing is proved: the evidence is refused, and the recording was not validated.</p>\n");
    }
    out.raw("<dl class='facts wide'>\n");
    write_fact("Nonce", evidence.nonce, out);
    if (evidence.accepted) {
        write_what_is_quoted(evidence, out);
    }
    write_fact("Dates are judged by", evidence.own_clock ? "the clock of who verifies" : "the clock of the recording",
               out);
    out.raw("</dl>\n");
    write_stages_on(record, "signed", "Rest on what the TPM signed", out);
    write_stages_on(record, "device", "Rest on the device's word", out);
    write_findings(evidence.findings, out);
    if (!evidence.accepted && (evidence.quote || !evidence.key_name.empty())) {
        out.raw(
            "<h3>What the refused quote says</h3>\n<p>Anybody can have written it.</p>\n<dl class='facts wide'>\n");
        write_what_is_quoted(evidence, out);
        out.raw("</dl>\n");
    }
}

}  // namespace vellum::reporting
