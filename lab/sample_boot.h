// The event logs of two boots of one imaginary machine.
#pragma once

#include "lab/event_log_builder.h"

namespace vellum::lab {

// A boot as it left the factory, firmware to operating system.
event_log clean_boot();

// The same machine later: another Startup Locality, another boot loader in PCR 4, and an informational event in
// PCR 6.
event_log changed_boot();

}  // namespace vellum::lab
