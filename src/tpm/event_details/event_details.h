// What an event of a TCG log says, as plain structures: which variable, which image, which partitions.
//
// Layouts: TCG PC Client Platform Firmware Profile 1.06 and the UEFI specification 2.10, all numbers little-endian;
// tagged events of operating systems as those document them. The structures view the event's data and live as long as
// they do. Texts are UTF-8 as the log has them: they are cleaned where they are shown.
//
// An event says what its writer chose to say. Whether its digest proves that is digest_claim.h's subject.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "base/bytes.h"
#include "base/text.h"
#include "tpm/event_details/device_path.h"
#include "tpm/event_details/signature_list.h"
#include "tpm/event_log_reader.h"

namespace vellum {

using guid_value = std::array<std::uint8_t, guid_size>;  // in the byte order of UEFI

// Data that do not have the layout that their event type calls for, or a type that calls for none that is known.
struct not_decoded {
    const char* why = "";  // a clause: "the name reaches past the end"
};

struct no_data {};

struct spec_id_details {
    std::uint32_t platform_class = 0;  // 0 client, 1 server
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint8_t errata = 0;
    std::uint8_t uintn_size = 0;  // of the firmware's native integer, in 32-bit words
    std::vector<event_log_reader::algorithm> algorithms;
    byte_view vendor_information;
};

struct startup_locality_details {
    std::uint8_t locality = 0;
};

// SP 800-155: where the manufacturer's reference measurements are to be found.
struct platform_identification_details {
    std::uint32_t vendor = 0;  // IANA private enterprise number
    guid_value manifest{};
    // As far as the version of the event has them.
    std::string platform_manufacturer;
    std::string platform_model;
    std::string platform_version;
    std::string firmware_manufacturer;
    std::string firmware_version;
};

// What a text is.
enum class text_meaning {
    action,            // what the firmware or boot manager is about to do
    firmware_version,  // of the static root of trust
    post_code,         // which firmware module
    hardware_root,     // of the hardware root of trust
    configuration,     // of the platform
    microcode,
    device_table,
    nonhost,         // of code or configuration of a processor other than the host's
    compact_hash,    // what a vendor says with its hash
    loader_command,  // a command that a boot loader runs
    kernel_command,  // the command line that a kernel is started with
    loader_file,     // a file that a boot loader read
    loader_policy,   // what a boot loader checks images against
    loader_text,     // any other text of a boot loader
};

struct text_details {
    text_meaning meaning = text_meaning::action;
    std::string text;
};

// A part of the firmware by its place in memory.
struct firmware_blob_details {
    std::string description;  // may be empty
    std::uint64_t base = 0;
    std::uint64_t length = 0;
};

struct handoff_table {
    guid_value vendor{};
    std::uint64_t address = 0;
};

struct handoff_tables_details {
    std::string description;  // may be empty
    std::vector<handoff_table> tables;
};

// BootOrder and its like: numbers of load options in the order in which they are tried.
struct load_order {
    std::vector<std::uint16_t> options;
};

// Boot####, Driver#### and their like: EFI_LOAD_OPTION.
struct load_option {
    std::uint32_t attributes = 0;
    std::string description;
    device_path path;
    byte_view optional_data;
};

// What the firmware measures of a sealed device before the operating system starts.
struct seal_measurement_value {
    byte_view configuration;  // the seal configuration record
    byte_view seal_log_hash;  // SHA-256 of the seal log's records, then zeros
};

// What a variable holds: bytes when nothing better fits.
using variable_value =
    std::variant<byte_view, bool, std::uint64_t, std::string, load_order, load_option, std::vector<signature_list>,
                 signature_entry, seal_measurement_value, not_decoded>;

// UEFI_VARIABLE_DATA.
struct variable_details {
    guid_value vendor{};
    std::string name;
    byte_view data;  // as they are; `value` is what they mean
    variable_value value;
};

// What an image was loaded from.
enum class image_source { unknown, file, firmware_volume, option_rom, network };

// UEFI_IMAGE_LOAD_EVENT.
struct image_load_details {
    std::uint64_t location = 0;  // in memory
    std::uint64_t length = 0;    // bytes
    std::uint64_t link_address = 0;
    device_path path;
    image_source source = image_source::unknown;
};

struct gpt_entry_details {
    guid_value type{};
    guid_value unique{};
    std::uint64_t first_lba = 0;
    std::uint64_t last_lba = 0;
    std::uint64_t attributes = 0;
    std::string name;
};

// UEFI_GPT_DATA.
struct gpt_details {
    guid_value disk{};
    std::uint64_t first_usable_lba = 0;
    std::uint64_t last_usable_lba = 0;
    std::vector<gpt_entry_details> partitions;
};

enum class separator_kind {
    end_of_firmware,  // all is well: control passes on
    firmware_error,   // the value one: something failed before
    other,
};

struct separator_details {
    separator_kind kind = separator_kind::other;
    byte_view value;
};

// A tagged value of an operating system or its loader; a container holds others.
struct tagged_value {
    std::uint32_t id = 0;
    const char* name = "";  // empty: unknown
    std::variant<byte_view, bool, std::uint64_t, std::string> value;
    std::vector<tagged_value> parts;
};

// EV_EVENT_TAG, and what has its layout.
struct tagged_details {
    const char* writer = "";  // who writes such events: "Linux", "Windows"; empty: unknown
    std::vector<tagged_value> values;
};

// Bytes whose meaning is known and which have no further structure.
struct bytes_details {
    const char* meaning = "";  // a noun: "hash of the TDX module's table"
    byte_view bytes;
};

using event_details =
    std::variant<not_decoded, no_data, spec_id_details, startup_locality_details, platform_identification_details,
                 text_details, firmware_blob_details, handoff_tables_details, variable_details, image_load_details,
                 gpt_details, separator_details, tagged_details, bytes_details>;

// Never fails: what does not fit is `not_decoded`.
event_details decode_event(const logged_event& event);

}  // namespace vellum
