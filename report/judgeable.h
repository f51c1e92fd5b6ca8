// Which stages of a validation a recording can judge: those for which everything is recorded that they ask for,
// themselves or through the stages before them.
#pragma once

#include <string>
#include <vector>

#include "report/capture.h"

namespace vellum::reporting {

struct unjudged_stage {
    std::string name;
    std::string why;
};

// Those that it cannot judge, in the order in which they run. Loads the recording, with the console and the files of
// `machine` as its own, to see what its PMF asks for; logging must have been started, and says nothing from here on.
std::vector<unjudged_stage> unjudged_stages(const platform& machine, const capture_request& request,
                                            const capture_report& report);

}  // namespace vellum::reporting
