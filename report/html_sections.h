// The sections of a page, each with its own source. One that has nothing to show is left out, with its link.
#pragma once

#include "report/html_writer.h"
#include "report/record.h"

namespace vellum::reporting {

// What a person sees first: verdict, cause, what to do, who.
void write_verdict(const run_record& record, html_writer& out);

// The verdict in a few words, as a page's title says it.
markup verdict_words(const run_record& record);

[[nodiscard]] bool has_stages(const run_record& record);
void write_stages(const run_record& record, html_writer& out);

// What the TPM signed, and what follows from it.
[[nodiscard]] bool has_evidence(const run_record& record);
void write_evidence(const run_record& record, html_writer& out);

[[nodiscard]] bool has_other_findings(const run_record& record);
void write_other_findings(const run_record& record, html_writer& out);

// Each with its words, under a heading of the third level.
void write_findings(const std::vector<finding_record>& findings, html_writer& out);

[[nodiscard]] bool has_cautions(const run_record& record);
void write_cautions(const run_record& record, html_writer& out);

[[nodiscard]] bool has_pcrs(const run_record& record);
void write_pcrs(const run_record& record, html_writer& out);

[[nodiscard]] bool has_events(const run_record& record);
void write_events(const run_record& record, html_writer& out);
void write_log_remarks(const run_record& record, html_writer& out);

[[nodiscard]] bool has_partitions(const run_record& record);
void write_partitions(const run_record& record, html_writer& out);

[[nodiscard]] bool has_history(const run_record& record);
void write_history(const run_record& record, html_writer& out);

[[nodiscard]] bool has_certificates(const run_record& record);
void write_certificates(const run_record& record, html_writer& out);

[[nodiscard]] bool has_device(const run_record& record);
void write_device(const run_record& record, html_writer& out);

[[nodiscard]] bool has_inputs(const run_record& record);
void write_inputs(const run_record& record, html_writer& out);

void write_run(const run_record& record, html_writer& out);

// What a PCR stands for; something too for a number that stands for none.
markup pcr_purpose(std::size_t pcr);

}  // namespace vellum::reporting
