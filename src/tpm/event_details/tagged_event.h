// EV_EVENT_TAG: TCG_PCClientTaggedEvent structures, each a 32-bit identifier, a 32-bit size and so many bytes,
// little-endian. Operating systems and their loaders say with them what they start: load options and initial file
// system of Linux's boot stub, the parts of an image that a boot stub assembles, and Windows' measured boot, whose
// containers hold further tagged values.
#pragma once

#include "tpm/event_details/event_details.h"

namespace vellum {

// not_decoded or tagged_details. Containers are followed to a depth of 8 and a number of 4096 values.
event_details decode_tagged_event(byte_view data);

}  // namespace vellum
