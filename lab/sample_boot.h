// The event logs of two boots of one imaginary machine.
#pragma once

#include "lab/event_log_builder.h"

namespace vellum::lab {

// A boot as it left the factory, firmware to operating system.
event_log clean_boot();

// The same machine later: another Startup Locality, another boot loader in PCR 4, and an informational event in
// PCR 6.
event_log changed_boot();

// PCR 4 gets the event of another boot loader in place of that which was started.
void start_other_boot_loader(event_log& log);

}  // namespace vellum::lab
