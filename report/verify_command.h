#pragma once

#include <span>

namespace vellum::reporting {

// The command "verify": holds the evidence of a recording against a nonce and an identity, and validates the
// recording when it is accepted. The exit code is that of vellum then, 6 when the evidence is refused, 3 for
// arguments that are not understood.
int verify_command(std::span<char* const> arguments);

}  // namespace vellum::reporting
