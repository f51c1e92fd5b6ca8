// The forms of a report. Each is made of the record alone; what comes from the device is escaped as the form wants
// it.
#pragma once

#include <string>

#include "report/record.h"

namespace vellum::reporting {

// JSON (RFC 8259) by docs/report.schema.json, one object and a line end.
std::string json_form(const run_record& record);

// JUnit's XML: one test case a stage. What the machine or the settings are to blame for is an error, the rest are
// failures.
std::string junit_form(const run_record& record);

// The text format of Prometheus, version 0.0.4, for a collector of text files.
std::string metrics_form(const run_record& record);

// One page (HTML 5) without script, which fetches nothing.
std::string html_form(const run_record& record);

// One line, at most summary_limit bytes with its end.
inline constexpr std::size_t summary_limit = 2048;
std::string summary_form(const run_record& record);

// The name of a stage's result: "passed", "failed", ...
const char* stage_result_name(stage_result result);

}  // namespace vellum::reporting
