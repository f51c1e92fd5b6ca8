#pragma once

#include <span>

namespace vellum::reporting {

// The command "enrol": writes the identity of a recorded device that its TPM has quoted for. Exit code 0, 6 when the
// quote does not hold, or event log or seal log are not what it signed, 1 when the file cannot be written, 3 for
// arguments that are not understood or no recorded device.
int enrol_command(std::span<char* const> arguments);

}  // namespace vellum::reporting
