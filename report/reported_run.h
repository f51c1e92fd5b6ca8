// One run of the program with a record of what it finds, and the forms of a report that are made of it.
#pragma once

#include <functional>
#include <optional>

#include "platform/platform.h"
#include "platform/recorded/recorded.h"
#include "report/record.h"
#include "report/run_request.h"

namespace vellum::reporting {

// Runs on the machine and writes the reports. Returns the exit code of vellum, 1 in place of 0 when a report is lost.
// Of a device whose evidence is refused nothing is run: only the reports say so, and the code is evidence_refused.
int run_reported(const run_request& request, const platform& machine,
                 const std::optional<evidence_record>& evidence = std::nullopt);

// Does what leads to a run. Where the memory does not suffice for that it says so, removes the reports of an earlier
// run, and returns 1.
int with_memory(const run_request& request, const std::function<int()>& command);

// Says why the directory is no recorded device; returns the exit code.
int refuse_device(const std::string& directory, const recorded_platform& device);

}  // namespace vellum::reporting
