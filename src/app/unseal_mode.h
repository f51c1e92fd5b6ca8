// Asks the firmware to deactivate the feature, once the seal log shows that this is safe.
#pragma once

#include "app/command_line.h"
#include "platform/platform.h"

namespace vellum {

// Runs the mode and returns the exit code: 0 deactivated, 4 refused, 1 undefined feature state, 3 an unknown reason,
// else the failure of the firmware channel. Nothing but reads is sent unless the deactivation is allowed. The reason
// of a failure is reported.
int run_unseal_mode(const command_options& options, const platform& machine);

}  // namespace vellum
