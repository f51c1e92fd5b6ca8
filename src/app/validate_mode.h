// Validates the device: 27 stages over everything that firmware, TPM, PMF and platform have to say.
#pragma once

#include "app/command_line.h"
#include "base/result.h"
#include "platform/platform.h"

namespace vellum {

class run_observer;
struct validation_state;

// Takes over the options and the configuration file; the paths of files are then those that will be opened. Fails as
// load_config() and resolve_file_paths() do.
result read_expectations(const command_options& options, validation_state& state);

// Runs the mode and returns the exit code: 0, 5 when a stage failed, the result of the preparation when
// configuration, paths, Device ID or reference log cannot be used (the reason is reported). The observer may be null.
int run_validate_mode(const command_options& options, const platform& machine, run_observer* observer);

}  // namespace vellum
