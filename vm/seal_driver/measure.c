#include "measure.h"

#include "fw_cfg.h"

enum {
    seal_pcr = 5,
    variable_driver_config = 0x80000001,  // EV_EFI_VARIABLE_DRIVER_CONFIG
};

static efi_status extend(efi_boot_services* services, efi_tcg2_event* event, uint32_t data_size) {
    static const efi_guid tcg2_guid = EFI_TCG2_PROTOCOL_GUID;
    efi_tcg2* tcg2 = 0;
    const efi_status found = services->locate_protocol(&tcg2_guid, 0, (void**)&tcg2);
    if (efi_failed(found)) {
        return found;
    }
    return tcg2->hash_log_extend_event(tcg2, 0, (uint64_t)(uintptr_t)(event + 1), data_size, event);
}

efi_status measure_file(efi_boot_services* services, const char* name) {
    fw_cfg_file file;
    if (!fw_cfg_find(name, &file)) {
        return EFI_SUCCESS;
    }
    if (file.size == 0 || file.size > MAX_EVENT_SIZE) {
        return EFI_BAD_BUFFER_SIZE;
    }
    const uint32_t whole = (uint32_t)sizeof(efi_tcg2_event) + file.size;
    efi_tcg2_event* event = 0;
    efi_status status = services->allocate_pool(EFI_BOOT_SERVICES_DATA, whole, (void**)&event);
    if (efi_failed(status)) {
        return status;
    }
    event->size = whole;
    event->header.header_size = sizeof(efi_tcg2_event_header);
    event->header.header_version = EFI_TCG2_EVENT_HEADER_VERSION;
    event->header.pcr = seal_pcr;
    event->header.type = variable_driver_config;
    fw_cfg_read(&file, (uint8_t*)(event + 1), file.size);
    status = extend(services, event, file.size);
    services->free_pool(event);
    return status;
}
