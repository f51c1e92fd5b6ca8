#include "lab/sample_boot.h"

#include <string>

#include "lab/byte_builder.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

enum boot_event_type : std::uint32_t {
    EV_POST_CODE = 0x00000001,
    EV_EVENT_TAG = 0x00000006,
    EV_S_CRTM_VERSION = 0x00000008,
    EV_EFI_VARIABLE_BOOT = 0x80000002,
    EV_EFI_BOOT_SERVICES_APPLICATION = 0x80000003,
    EV_EFI_BOOT_SERVICES_DRIVER = 0x80000004,
    EV_EFI_ACTION = 0x80000007,
    EV_EFI_PLATFORM_FIRMWARE_BLOB = 0x80000008,
};

// {8BE4DF61-93CA-11D2-AA0D-00E098032B8C}, the namespace of the UEFI global variables.
constexpr std::uint8_t global_variable_guid[] = {0x61, 0xDF, 0xE4, 0x8B, 0xCA, 0x93, 0xD2, 0x11,
                                                 0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C};

// UEFI_VARIABLE_DATA.
log_event variable(std::uint32_t pcr, std::uint32_t type, std::string_view name, byte_view value) {
    byte_builder data;
    data.bytes(global_variable_guid).u64_le(name.size()).u64_le(value.size());
    data.utf16(name);
    log_event event;
    event.pcr = pcr;
    event.type = type;
    event.data = data.bytes(value).take();
    return event;
}

// UEFI_IMAGE_LOAD_EVENT with a file path node as its device path.
log_event loaded_image(std::uint32_t pcr, std::uint32_t type, std::uint64_t address, std::string_view path) {
    const auto node_size = static_cast<std::uint16_t>(4 + 2 * (path.size() + 1));
    byte_builder data;
    data.u64_le(address).u64_le(0x180000).u64_le(0).u64_le(node_size + 4U);
    data.u8(0x04).u8(0x04).u16_le(node_size);
    data.utf16(path);
    data.u16_le(0).u8(0x7F).u8(0xFF).u16_le(4);
    log_event event;
    event.pcr = pcr;
    event.type = type;
    event.data = data.take();
    return event;
}

log_event started_boot_loader(std::string_view path) {
    return loaded_image(4, EV_EFI_BOOT_SERVICES_APPLICATION, 0x7C3A0018, path);
}

// UEFI_PLATFORM_FIRMWARE_BLOB.
log_event firmware_volume(std::uint64_t base, std::uint64_t length) {
    log_event event;
    event.type = EV_EFI_PLATFORM_FIRMWARE_BLOB;
    event.data = byte_builder().u64_le(base).u64_le(length).take();
    return event;
}

void append_firmware(std::vector<log_event>& events) {
    events.push_back(startup_locality(3));
    events.push_back(text_event(0, EV_S_CRTM_VERSION,
                                std::string_view("1\0.\0"
                                                 "4\0.\0"
                                                 "2\0\0\0",
                                                 12)));
    events.push_back(firmware_volume(0xFF400000, 0x00280000));
    events.push_back(firmware_volume(0xFF680000, 0x00300000));
    events.push_back(text_event(0, EV_POST_CODE, "ACPI DATA"));
    const std::uint8_t on[] = {1};
    events.push_back(variable(7, EV_EFI_VARIABLE_DRIVER_CONFIG, "SecureBoot", on));
    events.push_back(variable(7, EV_EFI_VARIABLE_DRIVER_CONFIG, "PK", std::vector<std::uint8_t>(520, 0x5A)));
    const std::uint8_t order[] = {0, 0, 1, 0};
    events.push_back(variable(1, EV_EFI_VARIABLE_BOOT, "BootOrder", order));
    events.push_back(loaded_image(2, EV_EFI_BOOT_SERVICES_DRIVER, 0x7D210018, "\\OPTION.ROM"));
    events.push_back(text_event(4, EV_EFI_ACTION, "Calling EFI Application from Boot Option"));
}

void append_system(std::vector<log_event>& events) {
    for (std::uint32_t pcr = 0; pcr < 8; ++pcr) {
        events.push_back(separator(pcr));
    }
    events.push_back(started_boot_loader("\\EFI\\BOOT\\BOOTX64.EFI"));
    events.push_back(text_event(5, EV_EFI_ACTION, "Exit Boot Services Invocation"));
    events.push_back(text_event(5, EV_EFI_ACTION, "Exit Boot Services Returned with Success"));
    events.push_back(text_event(11, EV_EVENT_TAG, "kernel command line: ro quiet"));
}

}  // namespace

void start_other_boot_loader(event_log& log) {
    for (log_event& event : log.events) {
        if (event.type == EV_EFI_BOOT_SERVICES_APPLICATION) {
            event = started_boot_loader("\\EFI\\BOOT\\OTHER.EFI");
        }
    }
}

event_log clean_boot() {
    event_log log;
    append_firmware(log.events);
    append_system(log.events);
    return log;
}

event_log changed_boot() {
    event_log log = clean_boot();
    log.events.front() = startup_locality(0);
    start_other_boot_loader(log);
    log.events.push_back(text_event(6, EV_NO_ACTION, "maintenance mode was entered"));
    return log;
}

}  // namespace vellum::lab
