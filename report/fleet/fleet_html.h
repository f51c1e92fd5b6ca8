// What the two pages of a fleet are built of.
#pragma once

#include <string>
#include <string_view>

#include "report/fleet/overview.h"
#include "report/html_parts.h"

namespace vellum::fleet {

const reporting::look& look_of(std::string_view verdict);

// "pcr-differs/4" as a title and a PCR; the identifier where it has no words.
std::string finding_text(std::string_view finding);

// All of them, between semicolons.
std::string findings_text(const run_outcome& outcome);

// What a group is called: its cause's title, else what was found.
std::string outcome_title(const run_outcome& outcome);

void write_verdict_badge(std::string_view verdict, reporting::html_writer& out);

// Sections of the overview's page, by what speaks against the run that a device is shown by.
void write_refused(const overview& fleet, reporting::html_writer& out);
void write_unproved(const overview& fleet, reporting::html_writer& out);

void write_page_end(reporting::html_writer& out);

}  // namespace vellum::fleet
