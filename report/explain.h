// "explain": what a stage, a finding or a caution means and what to do about it, at length, on standard output.
#pragma once

#include <span>
#include <string>

namespace vellum {

// The arguments are those behind the word "explain": an identifier, "--markdown" for the whole document, or none for
// the list of identifiers. Returns the exit code: 0, or 3 for what is not understood, which is said on standard error
// with what may have been meant.
int explain_command(std::span<char* const> arguments);

}  // namespace vellum
