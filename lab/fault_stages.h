// At which stages a validation notices a fault.
#pragma once

#include <string_view>

#include "core/stage.h"

namespace vellum::lab {

// Measured on a device of the usual plan with this fault alone. What is skipped in consequence does not count.
struct fault_stages {
    const char* fault;
    stage_set failed = 0;
    stage_set warned = 0;
};

// Null for a fault whose stages have not been measured.
const fault_stages* find_fault_stages(std::string_view fault);

}  // namespace vellum::lab
