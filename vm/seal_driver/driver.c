// The seal driver, in the option ROM of a device: the firmware starts it before it measures the separators, which is
// when a sealed device measures its seal.
#include "measure.h"

efi_status EFIAPI efi_main(efi_handle image, efi_system_table* system);

efi_status EFIAPI efi_main(efi_handle image, efi_system_table* system) {
    (void)image;
    const efi_status status = measure_file(system->boot_services, "opt/vellum/seal_event");
    return efi_failed(status) ? status : measure_file(system->boot_services, "opt/vellum/second_event");
}
