// "run": a validation as vellum makes it, and reports of what it found.
#pragma once

#include <span>

namespace vellum::reporting {

// The arguments are those behind the word "run". Returns vellum's exit code, 3 for arguments that are not understood,
// and 1 when a report of a run that ended with 0 could not be written.
int run_command(std::span<char* const> arguments);

}  // namespace vellum::reporting
