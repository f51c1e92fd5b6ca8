// UEFI variables in an event log: what the bytes of a variable mean by its vendor and name.
#pragma once

#include "tpm/event_details/event_details.h"

namespace vellum {

// EV_EFI_VARIABLE_DRIVER_CONFIG and EV_EFI_VARIABLE_BOOT: whole variables.
event_details decode_variable(byte_view data);

// EV_EFI_VARIABLE_AUTHORITY: the entry of a signature database that an image was accepted by.
event_details decode_authority(byte_view data);

}  // namespace vellum
