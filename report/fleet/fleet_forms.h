// The forms of an overview and of one device. Each is made of its structure alone; texts of devices are escaped as
// the form wants it.
#pragma once

#include <string>

#include "report/fleet/database.h"
#include "report/fleet/device_runs.h"
#include "report/fleet/overview.h"

namespace vellum::fleet {

// One page (HTML 5) without script, which fetches nothing.
std::string html_form(const overview& fleet);
std::string html_form(const device_history& device);

// JSON (RFC 8259), one object and a line end; docs/fleet.md lists its keys.
std::string json_form(const overview& fleet);

// The text format of Prometheus, version 0.0.4.
std::string metrics_form(const overview& fleet);

// A line for people.
std::string summary_form(const overview& fleet);

// A row a device, after a call of look_over() on the same database (RFC 4180). A cell that a spreadsheet would take
// for a formula begins with an apostrophe.
std::string csv_form(database& fleet);

// Listings for a terminal: the runs, and what changed between two of them.
std::string listing_form(const device_history& device);
std::string drift_form(const device_run& before, const device_run& after);

}  // namespace vellum::fleet
