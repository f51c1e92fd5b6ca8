// Compares a reference TPM event log with the live one, over a chosen set of PCRs.
#pragma once

#include "app/command_line.h"
#include "platform/platform.h"

namespace vellum {

class run_observer;

// Runs the mode and returns the exit code: 0, 5 when a stage failed, 3 when the options or the reference log are
// unusable (the reason is reported).
int run_compare_mode(const command_options& options, const platform& machine, run_observer* observer);

}  // namespace vellum
