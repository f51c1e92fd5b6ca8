// One run of the program, from the command line to the exit code.
#pragma once

#include "app/run_observer.h"
#include "platform/platform.h"

namespace vellum {

// Runs on the given machine. argv[0] is the program name that usage and errors show. An observer is told what happens
// and changes nothing of it: every byte that the run writes, and its exit code, are those of a run without one.
int run(int argc, char** argv, const platform& machine, run_observer* observer = nullptr);

}  // namespace vellum
