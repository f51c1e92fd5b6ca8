// What the seal driver and the boot loader use of the UEFI 2.x specification and of the TCG EFI Protocol
// specification for TPM 2.0. Tables are laid out to the last member that is used; a member that is not used is a
// plain pointer.
#pragma once

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

#define EFIAPI __attribute__((ms_abi))

typedef uint64_t efi_status;
typedef void* efi_handle;

#define EFI_ERROR_BIT 0x8000000000000000ULL
#define EFI_SUCCESS 0ULL
#define EFI_OUT_OF_RESOURCES (EFI_ERROR_BIT | 9)
#define EFI_NOT_FOUND (EFI_ERROR_BIT | 14)
#define EFI_BAD_BUFFER_SIZE (EFI_ERROR_BIT | 4)

static inline int efi_failed(efi_status status) {
    return (status & EFI_ERROR_BIT) != 0;
}

typedef struct {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} efi_guid;

typedef struct {
    uint64_t signature;
    uint32_t revision;
    uint32_t header_size;
    uint32_t crc32;
    uint32_t reserved;
} efi_table_header;

#define EFI_BOOT_SERVICES_DATA 4

typedef struct {
    efi_table_header header;
    void* raise_tpl;
    void* restore_tpl;
    void* allocate_pages;
    void* free_pages;
    void* get_memory_map;
    efi_status(EFIAPI* allocate_pool)(uint32_t memory_type, uint64_t size, void** buffer);
    efi_status(EFIAPI* free_pool)(void* buffer);
    void* event_services[6];     // from create_event to check_event
    void* protocol_services[3];  // from install_protocol_interface to uninstall_protocol_interface
    efi_status(EFIAPI* handle_protocol)(efi_handle handle, const efi_guid* protocol, void** interface);
    void* reserved;
    void* lookup_services[4];  // from register_protocol_notify to install_configuration_table
    efi_status(EFIAPI* load_image)(uint8_t boot_policy, efi_handle parent, void* device_path, void* source,
                                   uint64_t source_size, efi_handle* image);
    efi_status(EFIAPI* start_image)(efi_handle image, uint64_t* exit_data_size, uint16_t** exit_data);
    void* image_services[3];    // exit, unload_image, exit_boot_services
    void* other_services[3];    // get_next_monotonic_count, stall, set_watchdog_timer
    void* driver_services[2];   // connect_controller, disconnect_controller
    void* opening_services[3];  // open_protocol, close_protocol, open_protocol_information
    void* handle_services[2];   // protocols_per_handle, locate_handle_buffer
    efi_status(EFIAPI* locate_protocol)(const efi_guid* protocol, void* registration, void** interface);
} efi_boot_services;

typedef struct efi_text_output {
    void* reset;
    efi_status(EFIAPI* output_string)(struct efi_text_output* self, const uint16_t* text);
} efi_text_output;

typedef struct {
    efi_table_header header;
    uint16_t* firmware_vendor;
    uint32_t firmware_revision;
    efi_handle console_in_handle;
    void* console_in;
    efi_handle console_out_handle;
    efi_text_output* console_out;
    efi_handle standard_error_handle;
    efi_text_output* standard_error;
    void* runtime_services;
    efi_boot_services* boot_services;
} efi_system_table;

#define EFI_LOADED_IMAGE_PROTOCOL_GUID                     \
    {                                                      \
        0x5B1B31A1, 0x9562, 0x11D2, {                      \
            0x8E, 0x3F, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B \
        }                                                  \
    }

typedef struct {
    uint32_t revision;
    efi_handle parent;
    efi_system_table* system_table;
    efi_handle device;
    void* file_path;
    void* reserved;
    uint32_t load_options_size;  // in bytes
    void* load_options;
} efi_loaded_image;

#define EFI_DEVICE_PATH_PROTOCOL_GUID                      \
    {                                                      \
        0x09576E91, 0x6D3F, 0x11D2, {                      \
            0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B \
        }                                                  \
    }

#define EFI_DEVICE_PATH_MEDIA 0x04
#define EFI_DEVICE_PATH_FILE 0x04
#define EFI_DEVICE_PATH_END 0x7F
#define EFI_DEVICE_PATH_END_ENTIRE 0xFF

// A node's head; its length counts the head.
typedef struct {
    uint8_t type;
    uint8_t subtype;
    uint8_t length[2];  // little-endian
} efi_device_path;

#define EFI_TCG2_PROTOCOL_GUID                             \
    {                                                      \
        0x607F766C, 0x7455, 0x42BE, {                      \
            0x93, 0x0B, 0xE4, 0xD7, 0x6D, 0xB2, 0x72, 0x0F \
        }                                                  \
    }

#define EFI_TCG2_EVENT_HEADER_VERSION 1

typedef struct __attribute__((packed)) {
    uint32_t header_size;
    uint16_t header_version;
    uint32_t pcr;
    uint32_t type;
} efi_tcg2_event_header;

// The event's data follow.
typedef struct __attribute__((packed)) {
    uint32_t size;  // of everything, the event's data included
    efi_tcg2_event_header header;
} efi_tcg2_event;

typedef struct efi_tcg2 {
    void* get_capability;
    void* get_event_log;
    efi_status(EFIAPI* hash_log_extend_event)(struct efi_tcg2* self, uint64_t flags, uint64_t data,
                                              uint64_t data_size, efi_tcg2_event* event);
} efi_tcg2;

#if defined(__cplusplus)
}
#endif
