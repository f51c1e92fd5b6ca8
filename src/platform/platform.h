// Everything a run needs from the machine, gathered in one plain structure of references. The native
// implementations and the recorded device are equal in rank: nothing above knows which one it was given.
#pragma once

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/system_errors.h"

namespace vellum {

struct platform {
    class console& console;
    class clock& clock;
    system_errors& errors;
};

}  // namespace vellum
