#include "tpm/event_details/event_details.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "disk/gpt_layout.h"
#include "tpm/event_details/informational_event.h"
#include "tpm/event_details/tagged_event.h"
#include "tpm/event_details/text_fields.h"
#include "tpm/event_details/variable.h"

namespace vellum {
namespace {

// Handoff tables and partitions take their own room in the data, so a count cannot claim more than there is.
constexpr std::size_t handoff_table_size = guid_size + 8;
constexpr std::uint64_t most_handoff_tables = 4096;

event_details text_or(byte_view data, text_meaning meaning, event_details otherwise) {
    if (auto text = text_in(data)) {
        return text_details{meaning, std::move(*text)};
    }
    if (auto text = utf16_text_in(data)) {
        return text_details{meaning, std::move(*text)};
    }
    return otherwise;
}

// A signature and zeros, such as locality 0, would be a text as well.
event_details decode_no_action(byte_view data) {
    event_details informational = decode_informational_event(data);
    return std::holds_alternative<not_decoded>(informational)
               ? text_or(data, text_meaning::action, std::move(informational))
               : informational;
}

// EFI_PLATFORM_FIRMWARE_BLOB.
event_details decode_blob(byte_view data) {
    byte_reader reader(data);
    firmware_blob_details out;
    const bool fits = reader.u64_le(out.base) && reader.u64_le(out.length) && reader.at_end();
    return fits ? event_details(out) : not_decoded{"it is no base and length of 16 bytes"};
}

// UEFI_PLATFORM_FIRMWARE_BLOB2: a description in front.
event_details decode_blob2(byte_view data) {
    byte_reader reader(data);
    firmware_blob_details out;
    const bool fits = read_short_text(reader, out.description) && reader.u64_le(out.base) &&
                      reader.u64_le(out.length) && reader.at_end();
    return fits ? event_details(out) : not_decoded{"it is no description, base and length"};
}

// What older profiles wrote as text or blob, and newer ones with a description.
event_details decode_any_blob(byte_view data, text_meaning meaning) {
    event_details blob = decode_blob(data);
    if (std::holds_alternative<not_decoded>(blob)) {
        blob = decode_blob2(data);
    }
    return text_or(data, meaning, std::move(blob));
}

event_details decode_firmware_blob(byte_view data) {
    return decode_any_blob(data, text_meaning::post_code);
}

event_details decode_version(byte_view data) {
    if (data.size() == guid_size) {
        guid_value guid{};
        std::copy(data.begin(), data.end(), guid.begin());
        return text_or(data, text_meaning::firmware_version,
                       text_details{text_meaning::firmware_version, guid_text(guid)});
    }
    if (all_zero(data)) {
        return text_details{text_meaning::firmware_version, ""};
    }
    if (auto text = utf16_text_in(data)) {
        return text_details{text_meaning::firmware_version, std::move(*text)};
    }
    return text_or(data, text_meaning::firmware_version, bytes_details{"firmware version", data});
}

event_details decode_action(byte_view data) {
    return text_or(data, text_meaning::action, not_decoded{"it is no text"});
}

event_details decode_hardware_root(byte_view data) {
    return text_or(data, text_meaning::hardware_root, not_decoded{"it is no text"});
}

event_details decode_separator(byte_view data) {
    separator_details out;
    out.value = data;
    std::uint32_t value = 0;
    byte_reader reader(data);
    if (reader.u32_le(value) && reader.at_end()) {
        out.kind = value == 0 || value == UINT32_MAX ? separator_kind::end_of_firmware
                   : value == 1                      ? separator_kind::firmware_error
                                                     : separator_kind::other;
    }
    return out;
}

[[nodiscard]] bool read_handoff_tables(byte_reader& reader, handoff_tables_details& out) {
    std::uint64_t count = 0;
    if (!reader.u64_le(count) || count > most_handoff_tables || count > reader.remaining() / handoff_table_size) {
        return false;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        handoff_table table;
        if (!(reader.copy(table.vendor) && reader.u64_le(table.address))) {
            return false;
        }
        out.tables.push_back(table);
    }
    return reader.at_end();
}

// EFI_HANDOFF_TABLE_POINTERS.
event_details decode_handoff_tables(byte_view data) {
    byte_reader reader(data);
    handoff_tables_details out;
    return read_handoff_tables(reader, out) ? event_details(std::move(out))
                                            : not_decoded{"its tables do not fill it"};
}

// UEFI_HANDOFF_TABLE_POINTERS2: a description in front.
event_details decode_handoff_tables2(byte_view data) {
    byte_reader reader(data);
    handoff_tables_details out;
    const bool fits = read_short_text(reader, out.description) && read_handoff_tables(reader, out);
    return fits ? event_details(std::move(out)) : not_decoded{"its description and tables do not fill it"};
}

event_details decode_device_table(byte_view data) {
    event_details tables = decode_handoff_tables(data);
    return std::holds_alternative<not_decoded>(tables)
               ? text_or(data, text_meaning::device_table, bytes_details{"table of devices", data})
               : tables;
}

event_details decode_flags(byte_view data) {
    return text_or(data, text_meaning::configuration, bytes_details{"platform configuration", data});
}

event_details decode_microcode(byte_view data) {
    return text_or(data, text_meaning::microcode, bytes_details{"processor microcode", data});
}

event_details decode_compact_hash(byte_view data) {
    return text_or(data, text_meaning::compact_hash, bytes_details{"vendor's value", data});
}

event_details decode_nonhost(byte_view data) {
    return text_or(data, text_meaning::nonhost, bytes_details{"platform component", data});
}

event_details decode_partition_data(byte_view data) {
    return text_or(data, text_meaning::loader_text, bytes_details{"boot partition", data});
}

// What the texts of boot loaders begin with. A label in front of what is run is left out: it is not hashed.
struct loader_prefix {
    std::string_view prefix;
    text_meaning meaning;
    bool is_label;
};
constexpr loader_prefix loader_prefixes[] = {
    {"grub_cmd: ", text_meaning::loader_command, true},
    {"grub_cmd ", text_meaning::loader_command, true},
    {"kernel_cmdline: ", text_meaning::kernel_command, true},
    {"grub_kernel_cmdline ", text_meaning::kernel_command, true},
    {"module_cmdline: ", text_meaning::loader_command, true},
    {"Mok", text_meaning::loader_policy, false},
    {"SbatLevel", text_meaning::loader_policy, false},
    {"(", text_meaning::loader_file, false},
    {"/", text_meaning::loader_file, false},
    {"\\", text_meaning::loader_file, false},
};

text_details loader_text(std::string text) {
    for (const loader_prefix& row : loader_prefixes) {
        if (text.starts_with(row.prefix)) {
            return {row.meaning, row.is_label ? text.substr(row.prefix.size()) : std::move(text)};
        }
    }
    return {text_meaning::loader_text, std::move(text)};
}

// A boot stub writes the kernel's command line in UTF-16, other loaders write all their texts in UTF-8.
event_details decode_loader(byte_view data) {
    if (auto text = text_in(data)) {
        return loader_text(std::move(*text));
    }
    if (auto text = utf16_text_in(data)) {
        return text_details{text_meaning::kernel_command, std::move(*text)};
    }
    return bytes_details{"boot loader's value", data};
}

event_details decode_tag(byte_view data) {
    event_details tagged = decode_tagged_event(data);
    return std::holds_alternative<not_decoded>(tagged) ? text_or(data, text_meaning::loader_text, std::move(tagged))
                                                       : tagged;
}

image_source source_of(const device_path& path) {
    if (path.in_firmware) {
        return image_source::firmware_volume;
    }
    if (path.over_network) {
        return image_source::network;
    }
    if (!path.file.empty()) {
        return image_source::file;
    }
    return path.in_option_rom ? image_source::option_rom : image_source::unknown;
}

event_details decode_image(byte_view data) {
    byte_reader reader(data);
    image_load_details out;
    std::uint64_t path_size = 0;
    byte_view path;
    const bool fits = reader.u64_le(out.location) && reader.u64_le(out.length) && reader.u64_le(out.link_address) &&
                      reader.u64_le(path_size) && reader.view(path_size, path);
    if (!fits) {
        return not_decoded{"its device path reaches past the end"};
    }
    if (!path.empty() && !decode_device_path(path, out.path)) {
        return not_decoded{"its device path is damaged"};
    }
    out.source = source_of(out.path);
    return out;
}

[[nodiscard]] bool read_gpt_entry(byte_reader reader, gpt_entry_details& out) {
    byte_view name;
    if (!(reader.copy(out.type) && reader.copy(out.unique) && reader.u64_le(out.first_lba) &&
          reader.u64_le(out.last_lba) && reader.u64_le(out.attributes) && reader.view(72, name))) {
        return false;
    }
    out.name = utf8_of_utf16(name);
    return true;
}

// The header: signature, revision, size and CRC of 24 bytes in all, its own place and its copy's, ...
[[nodiscard]] bool read_gpt_header(byte_reader reader, gpt_details& out, std::uint32_t& entry_size) {
    std::uint32_t most_entries = 0;
    return reader.skip(24 + 2 * 8) && reader.u64_le(out.first_usable_lba) && reader.u64_le(out.last_usable_lba) &&
           reader.copy(out.disk) && reader.skip(8) && reader.u32_le(most_entries) && reader.u32_le(entry_size);
}

event_details decode_gpt(byte_view data) {
    byte_reader reader(data);
    byte_reader header{byte_view()};
    gpt_details out;
    std::uint32_t entry_size = 0;
    std::uint64_t count = 0;
    if (!starts_with(data, as_bytes(gpt_signature))) {
        return not_decoded{"it does not begin with the signature of a partition table"};
    }
    if (!(reader.sub(gpt_header_size, header) && read_gpt_header(header, out, entry_size) && reader.u64_le(count))) {
        return not_decoded{"it is shorter than a partition table's header"};
    }
    if (entry_size < gpt_entry_size || count > reader.remaining() / entry_size) {
        return not_decoded{"its partitions reach past the end"};
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        byte_reader entry{byte_view()};
        gpt_entry_details partition;
        if (!reader.sub(entry_size, entry) || !read_gpt_entry(entry, partition)) {
            return not_decoded{"its partitions reach past the end"};
        }
        out.partitions.push_back(std::move(partition));
    }
    return reader.at_end() ? event_details(std::move(out)) : not_decoded{"something follows its partitions"};
}

event_details decode_device_security(byte_view data) {
    constexpr std::string_view signature = "SPDM Device Sec";
    return starts_with(data, as_bytes(signature)) ? event_details(bytes_details{"measurement by a device", data})
                                                  : not_decoded{"it does not begin with the signature of its type"};
}

event_details decode_crtm_contents(byte_view data) {
    return decode_any_blob(data, text_meaning::hardware_root);
}

struct type_decoder {
    std::uint32_t type;
    event_details (*decode)(byte_view data);
};

// By type.
constexpr type_decoder decoders[] = {
    {0x00000001, decode_firmware_blob},  // EV_POST_CODE
    {EV_NO_ACTION, decode_no_action},
    {EV_SEPARATOR, decode_separator},
    {0x00000005, decode_action},          // EV_ACTION
    {0x00000006, decode_tag},             // EV_EVENT_TAG
    {0x00000007, decode_crtm_contents},   // EV_S_CRTM_CONTENTS
    {0x00000008, decode_version},         // EV_S_CRTM_VERSION
    {0x00000009, decode_microcode},       // EV_CPU_MICROCODE
    {0x0000000A, decode_flags},           // EV_PLATFORM_CONFIG_FLAGS
    {0x0000000B, decode_device_table},    // EV_TABLE_OF_DEVICES
    {0x0000000C, decode_compact_hash},    // EV_COMPACT_HASH
    {0x0000000D, decode_loader},          // EV_IPL
    {0x0000000E, decode_partition_data},  // EV_IPL_PARTITION_DATA
    {0x0000000F, decode_nonhost},         // EV_NONHOST_CODE
    {0x00000010, decode_nonhost},         // EV_NONHOST_CONFIG
    {0x00000011, decode_nonhost},         // EV_NONHOST_INFO
    {0x00000012, decode_action},          // EV_OMIT_BOOT_DEVICE_EVENTS
    {0x00000013, decode_firmware_blob},   // EV_POST_CODE2
    {EV_EFI_VARIABLE_DRIVER_CONFIG, decode_variable},
    {0x80000002, decode_variable},  // EV_EFI_VARIABLE_BOOT
    {0x80000003, decode_image},     // EV_EFI_BOOT_SERVICES_APPLICATION
    {0x80000004, decode_image},     // EV_EFI_BOOT_SERVICES_DRIVER
    {0x80000005, decode_image},     // EV_EFI_RUNTIME_SERVICES_DRIVER
    {EV_EFI_GPT_EVENT, decode_gpt},
    {0x80000007, decode_action},           // EV_EFI_ACTION
    {0x80000008, decode_firmware_blob},    // EV_EFI_PLATFORM_FIRMWARE_BLOB
    {0x80000009, decode_handoff_tables},   // EV_EFI_HANDOFF_TABLES
    {0x8000000A, decode_firmware_blob},    // EV_EFI_PLATFORM_FIRMWARE_BLOB2
    {0x8000000B, decode_handoff_tables2},  // EV_EFI_HANDOFF_TABLES2
    {0x8000000C, decode_variable},         // EV_EFI_VARIABLE_BOOT2
    {0x8000000D, decode_gpt},              // EV_EFI_GPT_EVENT2
    {0x80000010, decode_hardware_root},    // EV_EFI_HCRTM_EVENT
    {0x800000E0, decode_authority},        // EV_EFI_VARIABLE_AUTHORITY
    {0x800000E1, decode_device_security},  // EV_EFI_SPDM_FIRMWARE_BLOB
    {0x800000E2, decode_device_security},  // EV_EFI_SPDM_FIRMWARE_CONFIG
};
static_assert(std::is_sorted(std::begin(decoders), std::end(decoders),
                             [](const type_decoder& a, const type_decoder& b) { return a.type < b.type; }));

}  // namespace

event_details decode_event(const logged_event& event) {
    const auto* row =
        std::lower_bound(std::begin(decoders), std::end(decoders), event.type,
                         [](const type_decoder& entry, std::uint32_t type) { return entry.type < type; });
    if (row == std::end(decoders) || row->type != event.type) {
        return not_decoded{"its type is unknown"};
    }
    if (event.data.empty() && event.type != EV_SEPARATOR) {
        return no_data{};
    }
    return row->decode(event.data);
}

}  // namespace vellum
