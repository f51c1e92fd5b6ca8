// The boot loader of the virtual machine: starts the kernel that lies beside it. Before that it measures a late
// event, if there is one: what a program would do that wants to pass for the seal driver once the firmware has handed
// over.
#include "measure.h"

efi_status EFIAPI efi_main(efi_handle image, efi_system_table* system);

static const uint16_t kernel_path[] = u"\\vmlinuz";
static const uint16_t kernel_options[] = u"initrd=\\initrd console=ttyS0 quiet panic=-1";

static const efi_guid loaded_image_guid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const efi_guid device_path_guid = EFI_DEVICE_PATH_PROTOCOL_GUID;

static void copy(uint8_t* to, const void* from, uint64_t size) {
    for (uint64_t i = 0; i < size; ++i) {
        to[i] = ((const uint8_t*)from)[i];
    }
}

static uint64_t size_before_end(const efi_device_path* path) {
    uint64_t size = 0;
    while (path->type != EFI_DEVICE_PATH_END) {
        const uint64_t length = path->length[0] | (uint64_t)path->length[1] << 8;
        size += length;
        path = (const efi_device_path*)((const uint8_t*)path + length);
    }
    return size;
}

// The path of the kernel on the volume with this path, in memory of its own.
static efi_status path_of_kernel(efi_boot_services* services, const efi_device_path* volume, void** out) {
    const uint64_t before = size_before_end(volume);
    const uint16_t length = sizeof(efi_device_path) + sizeof(kernel_path);
    const efi_device_path file = {EFI_DEVICE_PATH_MEDIA, EFI_DEVICE_PATH_FILE, {length & 0xFF, length >> 8}};
    const efi_device_path end = {EFI_DEVICE_PATH_END, EFI_DEVICE_PATH_END_ENTIRE, {sizeof(end), 0}};
    const efi_status allocated = services->allocate_pool(EFI_BOOT_SERVICES_DATA, before + length + sizeof(end), out);
    if (!efi_failed(allocated)) {
        uint8_t* to = *out;
        copy(to, volume, before);
        copy(to + before, &file, sizeof(file));
        copy(to + before + sizeof(file), kernel_path, sizeof(kernel_path));
        copy(to + before + length, &end, sizeof(end));
    }
    return allocated;
}

static efi_status load_kernel(efi_boot_services* services, efi_handle self, efi_handle* kernel) {
    efi_loaded_image* loaded = 0;
    efi_device_path* volume = 0;
    void* path = 0;
    efi_status status = services->handle_protocol(self, &loaded_image_guid, (void**)&loaded);
    if (!efi_failed(status)) {
        status = services->handle_protocol(loaded->device, &device_path_guid, (void**)&volume);
    }
    if (!efi_failed(status)) {
        status = path_of_kernel(services, volume, &path);
    }
    return efi_failed(status) ? status : services->load_image(0, self, path, 0, 0, kernel);
}

static efi_status start_kernel(efi_boot_services* services, efi_handle self) {
    efi_handle kernel = 0;
    efi_loaded_image* loaded = 0;
    efi_status status = load_kernel(services, self, &kernel);
    if (!efi_failed(status)) {
        status = services->handle_protocol(kernel, &loaded_image_guid, (void**)&loaded);
    }
    if (efi_failed(status)) {
        return status;
    }
    loaded->load_options = (void*)(uintptr_t)kernel_options;
    loaded->load_options_size = sizeof(kernel_options);
    return services->start_image(kernel, 0, 0);
}

efi_status EFIAPI efi_main(efi_handle image, efi_system_table* system) {
    efi_status status = measure_file(system->boot_services, "opt/vellum/late_event");
    if (efi_failed(status)) {
        system->console_out->output_string(system->console_out, u"The late event cannot be measured.\r\n");
        return status;
    }
    status = start_kernel(system->boot_services, image);
    system->console_out->output_string(system->console_out, u"The kernel cannot be started.\r\n");
    return status;
}
