// One run of the program, from the command line to the exit code.
#pragma once

#include "platform/platform.h"

namespace vellum {

// Runs on the given machine. argv[0] is the program name that usage and errors show.
int run(int argc, char** argv, const platform& machine);

}  // namespace vellum
