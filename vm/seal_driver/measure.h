// Measures into PCR 5 what the host of the virtual machine hands over.
#pragma once

#include "uefi.h"

#if defined(__cplusplus)
extern "C" {
#endif

// No event of a firmware is near this size, in bytes.
#define MAX_EVENT_SIZE 65536u

// Measures the bytes of the file of this name, and logs them as the event's data, as the value of a variable that
// configures a driver. Success when there is no such file. EFI_BAD_BUFFER_SIZE when it is empty or too large,
// EFI_NOT_FOUND without a TPM 2.0, otherwise what the firmware answers.
efi_status measure_file(efi_boot_services* services, const char* name);

#if defined(__cplusplus)
}
#endif
