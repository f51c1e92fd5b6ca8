// Names of event types, the predicates that recognise particular events, and the one-line print of an event.
#include <algorithm>

#include "base/text_writer.h"
#include "core/log.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

struct type_name {
    std::uint32_t type;
    const char* name;
};

constexpr type_name type_names[] = {
    {0x00000001, "EV_POST_CODE"},
    {0x00000002, "EV_UNUSED"},
    {EV_NO_ACTION, "EV_NO_ACTION"},
    {EV_SEPARATOR, "EV_SEPARATOR"},
    {0x00000005, "EV_ACTION"},
    {0x00000006, "EV_EVENT_TAG"},
    {0x00000007, "EV_S_CRTM_CONTENTS"},
    {0x00000008, "EV_S_CRTM_VERSION"},
    {0x00000009, "EV_CPU_MICROCODE"},
    {0x0000000A, "EV_PLATFORM_CONFIG_FLAGS"},
    {0x0000000B, "EV_TABLE_OF_DEVICES"},
    {0x0000000C, "EV_COMPACT_HASH"},
    {0x0000000D, "EV_IPL"},
    {0x0000000E, "EV_IPL_PARTITION_DATA"},
    {0x0000000F, "EV_NONHOST_CODE"},
    {0x00000010, "EV_NONHOST_CONFIG"},
    {0x00000011, "EV_NONHOST_INFO"},
    {0x00000012, "EV_OMIT_BOOT_DEVICE_EVENTS"},
    {0x80000000, "EV_EFI_EVENT_BASE"},
    {EV_EFI_VARIABLE_DRIVER_CONFIG, "EV_EFI_VARIABLE_DRIVER_CONFIG"},
    {0x80000002, "EV_EFI_VARIABLE_BOOT"},
    {0x80000003, "EV_EFI_BOOT_SERVICES_APPLICATION"},
    {0x80000004, "EV_EFI_BOOT_SERVICES_DRIVER"},
    {0x80000005, "EV_EFI_RUNTIME_SERVICES_DRIVER"},
    {EV_EFI_GPT_EVENT, "EV_EFI_GPT_EVENT"},
    {0x80000007, "EV_EFI_ACTION"},
    {0x80000008, "EV_EFI_PLATFORM_FIRMWARE_BLOB"},
    {0x80000009, "EV_EFI_HANDOFF_TABLES"},
    {0x80000010, "EV_EFI_HCRTM_EVENT"},
    {0x800000E0, "EV_EFI_VARIABLE_AUTHORITY"},
};

// The search for a name rests on it.
static_assert(std::is_sorted(std::begin(type_names), std::end(type_names),
                             [](const type_name& a, const type_name& b) { return a.type < b.type; }));

constexpr std::string_view startup_locality_signature("StartupLocality\0", 16);

using guid_bytes = std::array<std::uint8_t, guid_size>;

// {16A34A5A-F16A-454A-8F23-BAA58786BEAC}
constexpr guid_bytes seal_event_guid = {0x5A, 0x4A, 0xA3, 0x16, 0x6A, 0xF1, 0x4A, 0x45,
                                        0x8F, 0x23, 0xBA, 0xA5, 0x87, 0x86, 0xBE, 0xAC};
// {07DB44B3-85DC-46C5-B038-8273B7AE75BC}
constexpr guid_bytes disk_measurement_event_guid = {0xB3, 0x44, 0xDB, 0x07, 0xDC, 0x85, 0xC5, 0x46,
                                                    0xB0, 0x38, 0x82, 0x73, 0xB7, 0xAE, 0x75, 0xBC};

// SHA-256 of four zero bytes and of four 0xFF bytes, the two values that a separator measures.
constexpr sha256_value zero_separator_digest = {0xDF, 0x3F, 0x61, 0x98, 0x04, 0xA9, 0x2F, 0xDB, 0x40, 0x57, 0x19,
                                                0x2D, 0xC4, 0x3D, 0xD7, 0x48, 0xEA, 0x77, 0x8A, 0xDC, 0x52, 0xBC,
                                                0x49, 0x8C, 0xE8, 0x05, 0x24, 0xC0, 0x14, 0xB8, 0x11, 0x19};
constexpr sha256_value ones_separator_digest = {0xAD, 0x95, 0x13, 0x1B, 0xC0, 0xB7, 0x99, 0xC0, 0xB1, 0xAF, 0x47,
                                                0x7F, 0xB1, 0x4F, 0xCF, 0x26, 0xA6, 0xA9, 0xF7, 0x60, 0x79, 0xE4,
                                                0x8B, 0xF0, 0x90, 0xAC, 0xB7, 0xE8, 0x36, 0x7B, 0xFD, 0x0E};

bool is_pcr5_variable(const tpm_event& event, const guid_bytes& guid) {
    return event.pcr == 5 && event.type == EV_EFI_VARIABLE_DRIVER_CONFIG && starts_with(event.data, guid);
}

// Null for a type without a name.
const type_name* find_type(std::uint32_t type) {
    const auto* row =
        std::lower_bound(std::begin(type_names), std::end(type_names), type,
                         [](const type_name& entry, std::uint32_t value) { return entry.type < value; });
    return row != std::end(type_names) && row->type == type ? row : nullptr;
}

}  // namespace

const char* tpm_event_type_name(std::uint32_t type) {
    const type_name* row = find_type(type);
    return row != nullptr ? row->name : "EV_UNKNOWN_TYPE";
}

void add_event_type(finding_lines lines, const char* field, std::uint32_t type) {
    const type_name* row = findings_observed() ? find_type(type) : nullptr;
    if (row != nullptr) {
        lines.field(field, row->name);
    } else {
        lines.field(field, type);
    }
}

void print_tpm_log_event(const tpm_event& event) {
    if (!log_enabled(log_level::debug)) {
        return;
    }
    text_writer<512> line;
    line.text("Event of type 0x").hex_08(event.type).text("(").text(tpm_event_type_name(event.type));
    line.text(") at position ").decimal(event.chain_position).text(" in PCR[").decimal_02(event.pcr);
    line.text("] and at position ")
        .decimal(event.log_position)
        .text(" in TPM Event Log. Digest: 0x")
        .hex(event.digest);
    line.text(", PCR Value: 0x").hex(event.value).text(".");
    log_text(log_level::debug, line.view());
}

std::optional<std::uint8_t> startup_locality_of(const tpm_event& event) {
    if (event.pcr != 0 || event.type != EV_NO_ACTION || event.data.size() != startup_locality_signature.size() + 1 ||
        !starts_with(event.data, as_bytes(startup_locality_signature))) {
        return std::nullopt;
    }
    return event.data.back();
}

bool is_seal_event(const tpm_event& event) {
    return is_pcr5_variable(event, seal_event_guid);
}

bool is_disk_measurement_event(const tpm_event& event) {
    return is_pcr5_variable(event, disk_measurement_event_guid);
}

bool is_gpt_event(const tpm_event& event) {
    return event.pcr == 5 && event.type == EV_EFI_GPT_EVENT;
}

bool is_separator_event(const tpm_event& event) {
    return event.pcr == 5 && event.type == EV_SEPARATOR;
}

bool has_separator_digest(const tpm_event& event) {
    return event.pcr == 5 && (event.digest == zero_separator_digest || event.digest == ones_separator_digest);
}

}  // namespace vellum
