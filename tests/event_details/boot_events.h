// Events of a boot for comparisons, and logs made of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "lab/byte_builder.h"
#include "lab/event_log_builder.h"
#include "tpm/event_details/event_sequence.h"

namespace vellum::test {

using event_bytes = std::vector<std::uint8_t>;
using vendor_guid = std::array<std::uint8_t, 16>;

inline constexpr vendor_guid global_variable = {0x61, 0xDF, 0xE4, 0x8B, 0xCA, 0x93, 0xD2, 0x11,
                                                0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C};
inline constexpr vendor_guid security_database = {0xCB, 0xB2, 0x19, 0xD7, 0x3A, 0x3D, 0x96, 0x45,
                                                  0xA3, 0xBC, 0xDA, 0xD0, 0x0E, 0x67, 0x65, 0x6F};

enum boot_event_type : std::uint32_t {
    EV_POST_CODE = 0x00000001,
    EV_ACTION = 0x00000005,
    EV_S_CRTM_VERSION = 0x00000008,
    EV_IPL = 0x0000000D,
    EV_EFI_VARIABLE_DRIVER_CONFIG_EVENT = 0x80000001,
    EV_EFI_VARIABLE_BOOT = 0x80000002,
    EV_EFI_BOOT_SERVICES_APPLICATION = 0x80000003,
    EV_EFI_BOOT_SERVICES_DRIVER = 0x80000004,
    EV_EFI_GPT = 0x80000006,
    EV_EFI_PLATFORM_FIRMWARE_BLOB = 0x80000008,
    EV_EFI_HANDOFF_TABLES = 0x80000009,
};

inline lab::log_event event_of(std::uint32_t pcr, std::uint32_t type, event_bytes data) {
    lab::log_event event;
    event.pcr = pcr;
    event.type = type;
    event.data = std::move(data);
    return event;
}

// UEFI_VARIABLE_DATA.
inline event_bytes variable_data(byte_view vendor, std::string_view name, byte_view value) {
    return lab::byte_builder().bytes(vendor).u64_le(name.size()).u64_le(value.size()).utf16(name).bytes(value).take();
}

inline lab::log_event boot_variable(std::uint32_t pcr, std::string_view name, const event_bytes& value) {
    const bool database = name.starts_with("db");
    const std::uint32_t type = pcr == 7 ? EV_EFI_VARIABLE_DRIVER_CONFIG_EVENT : EV_EFI_VARIABLE_BOOT;
    return event_of(pcr, type, variable_data(database ? security_database : global_variable, name, value));
}

// With the digests of something that the log does not hold, one for each seed.
inline lab::log_event measured(lab::log_event event, std::uint8_t seed) {
    event.digests = {{lab::TPM_ALG_SHA1, event_bytes(20, seed)}, {lab::TPM_ALG_SHA256, event_bytes(32, seed)}};
    return event;
}

// UEFI_IMAGE_LOAD_EVENT.
inline lab::log_event loaded_image(std::uint32_t pcr, std::string_view file, std::uint8_t seed,
                                   std::uint64_t location = 0x7C3A0018) {
    const auto node_size = static_cast<std::uint16_t>(4 + 2 * (file.size() + 1));
    lab::byte_builder data;
    data.u64_le(location).u64_le(0x180000).u64_le(0).u64_le(node_size + 4U);
    data.u8(0x04).u8(0x04).u16_le(node_size).utf16(file).u16_le(0);
    data.u8(0x7F).u8(0xFF).u16_le(4);
    const std::uint32_t type = pcr == 4 ? EV_EFI_BOOT_SERVICES_APPLICATION : EV_EFI_BOOT_SERVICES_DRIVER;
    return measured(event_of(pcr, type, data.take()), seed);
}

// A log and its events.
struct read_log_of {
    explicit read_log_of(const lab::event_log& log) : bytes(lab::build(log)) {
        opened = ok(read_events(bytes, events));
    }

    event_bytes bytes;
    event_sequence events;
    bool opened = false;
};

inline lab::event_log log_of(std::vector<lab::log_event> events) {
    lab::event_log log;
    log.events = std::move(events);
    return log;
}

}  // namespace vellum::test
