// EV_NO_ACTION: events that extend no PCR and begin with a signature of 16 characters.
#pragma once

#include "tpm/event_details/event_details.h"

namespace vellum {

// The Spec ID event, startup locality, platform identification, and tagged values; not_decoded for others.
event_details decode_informational_event(byte_view data);

}  // namespace vellum
