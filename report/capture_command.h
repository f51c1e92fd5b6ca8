#pragma once

#include <span>

namespace vellum::reporting {

// The command "capture". Its exit code: 0 when the recording can judge every stage, 4 when it can judge some or lacks
// the quote that was asked for, 1 when it can judge none, 3 for arguments that are not understood.
int capture_command(std::span<char* const> words);

}  // namespace vellum::reporting
