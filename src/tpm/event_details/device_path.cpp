#include "tpm/event_details/device_path.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>

#include "tpm/event_details/device_path_nodes.h"
#include "tpm/event_details/text_fields.h"

namespace vellum {
namespace {

constexpr std::uint8_t hardware = 1;
constexpr std::uint8_t acpi = 2;
constexpr std::uint8_t messaging = 3;
constexpr std::uint8_t media = 4;
constexpr std::uint8_t bios_boot = 5;
constexpr std::uint8_t end_type = 0x7F;
constexpr std::uint8_t end_of_instance = 0x01;
constexpr std::uint8_t end_of_path = 0xFF;

// How a field of a node is written.
enum class field_form : std::uint8_t {
    none,
    u8,  // numbers, hexadecimal
    u16,
    u32,
    u64,
    decimal,  // a number of two bytes
    plain64,  // a number of eight bytes, all its digits
    guid,
    bytes6,     // bytes in order
    bytes8,     // ... with "0x"
    octets8,    // ... parted by hyphens
    text,       // the rest, up to a zero
    wide_text,  // the same of UTF-16, in quotation marks
    rest,       // the rest; left out when there is none
};

struct node_field {
    std::uint8_t offset = 0;  // in the node's data
    field_form form = field_form::none;
};

// What a node says about where the path leads.
enum class node_place : std::uint8_t { other, pci, offset_range, firmware, network, file };

struct node_form {
    std::uint8_t type;
    std::uint8_t subtype;
    const char* name;
    std::array<node_field, 5> fields;
    node_place place = node_place::other;
    std::optional<std::string> (*write)(byte_view data) = nullptr;  // in place of name and fields
};

using form = field_form;
using place = node_place;

constexpr node_form forms[] = {
    {hardware, 1, "Pci", {{{1, form::u8}, {0, form::u8}}}, place::pci},
    {hardware, 2, "PcCard", {{{0, form::u8}}}},
    {hardware, 3, "MemoryMapped", {{{0, form::u32}, {4, form::u64}, {12, form::u64}}}, place::firmware},
    {hardware, 4, "VenHw", {{{0, form::guid}, {16, form::rest}}}},
    {hardware, 5, "Ctrl", {{{0, form::u32}}}},
    {hardware, 6, "BMC", {{{0, form::u8}, {1, form::u64}}}},
    {acpi, 1, "", {}, place::other, acpi_text},
    {acpi, 2, "", {}, place::other, acpi_expanded_text},
    {acpi, 3, "", {}, place::other, acpi_address_text},
    {acpi, 4, "NVDIMM", {{{0, form::u32}}}},
    {messaging, 1, "", {}, place::other, ata_text},
    {messaging, 2, "Scsi", {{{0, form::u16}, {2, form::u16}}}},
    {messaging, 3, "Fibre", {{{4, form::u64}, {12, form::u64}}}},
    {messaging, 4, "I1394", {{{4, form::plain64}}}},
    {messaging, 5, "USB", {{{0, form::u8}, {1, form::u8}}}},
    {messaging, 6, "I2O", {{{0, form::u32}}}},
    {messaging,
     9,
     "Infiniband",
     {{{0, form::u32}, {4, form::guid}, {20, form::u64}, {28, form::u64}, {36, form::u64}}},
     place::network},
    {messaging, 10, "", {}, place::other, vendor_messaging_text},
    {messaging, 11, "", {}, place::network, mac_text},
    {messaging, 12, "", {}, place::network, ipv4_text},
    {messaging, 13, "", {}, place::network, ipv6_text},
    {messaging, 14, "", {}, place::other, uart_text},
    {messaging, 15, "", {}, place::other, usb_class_text},
    {messaging, 16, "UsbWwid", {{{2, form::u16}, {4, form::u16}, {0, form::u16}, {6, form::wide_text}}}},
    {messaging, 17, "Unit", {{{0, form::u8}}}},
    {messaging, 18, "Sata", {{{0, form::u16}, {2, form::u16}, {4, form::u16}}}},
    {messaging, 19, "", {}, place::network, iscsi_text},
    {messaging, 20, "Vlan", {{{0, form::decimal}}}, place::network},
    {messaging, 21, "FibreEx", {{{4, form::bytes8}, {12, form::bytes8}}}},
    {messaging, 22, "", {}, place::other, sas_text},
    {messaging, 23, "NVMe", {{{0, form::u32}, {4, form::octets8}}}},
    {messaging, 24, "Uri", {{{0, form::text}}}, place::network},
    {messaging, 25, "UFS", {{{0, form::u8}, {1, form::u8}}}},
    {messaging, 26, "SD", {{{0, form::u8}}}},
    {messaging, 27, "Bluetooth", {{{0, form::bytes6}}}, place::network},
    {messaging, 28, "Wi-Fi", {{{0, form::text}}}, place::network},
    {messaging, 29, "eMMC", {{{0, form::u8}}}},
    {messaging, 30, "BluetoothLE", {{{0, form::bytes6}, {6, form::u8}}}, place::network},
    {messaging, 31, "", {}, place::network, dns_text},
    {messaging, 33, "", {}, place::network, rest_service_text},
    {media, 1, "", {}, place::other, hard_drive_text},
    {media, 2, "CDROM", {{{0, form::u32}, {4, form::u64}, {12, form::u64}}}},
    {media, 3, "VenMedia", {{{0, form::guid}, {16, form::rest}}}},
    {media, 4, "", {}, place::file, file_path_text},
    {media, 5, "Media", {{{0, form::guid}}}},
    {media, 6, "FvFile", {{{0, form::guid}}}, place::firmware},
    {media, 7, "Fv", {{{0, form::guid}}}, place::firmware},
    {media, 8, "Offset", {{{4, form::u64}, {12, form::u64}}}, place::offset_range},
    {media, 9, "", {}, place::other, ram_disk_text},
    {bios_boot, 1, "", {}, place::other, bios_boot_text},
};

struct node {
    std::uint8_t type = 0;
    std::uint8_t subtype = 0;
    byte_view data;  // without the head
};

constexpr std::uint16_t node_head_size = 4;

[[nodiscard]] bool read_node(byte_reader& reader, node& out) {
    std::uint16_t size = 0;
    return reader.u8(out.type) && reader.u8(out.subtype) && reader.u16_le(size) && size >= node_head_size &&
           reader.view(size - node_head_size, out.data);
}

// Writes a number of so many bytes, at most eight. False when it is not there.
[[nodiscard]] bool read_number(byte_reader& reader, std::size_t size, std::uint64_t& out) {
    byte_view bytes;
    if (!reader.view(size, bytes)) {
        return false;
    }
    out = number_le(bytes);
    return true;
}

constexpr std::size_t number_size(field_form form) {
    switch (form) {
        case field_form::u8: return 1;
        case field_form::u16:
        case field_form::decimal: return 2;
        case field_form::u32: return 4;
        case field_form::u64: return 8;
        default: return 0;
    }
}

[[nodiscard]] bool write_number(byte_reader& reader, field_form form, node_text& text) {
    std::uint64_t number = 0;
    if (!read_number(reader, number_size(form), number)) {
        return false;
    }
    if (form == field_form::decimal) {
        text.decimal(number);
    } else {
        text.hex(number);
    }
    return true;
}

std::string with_hyphens(byte_view bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text += (i == 0 ? "" : "-") + upper_hex(bytes.subspan(i, 1));
    }
    return text;
}

[[nodiscard]] bool write_bytes(byte_reader& reader, field_form form, node_text& text) {
    byte_view bytes;
    if (!reader.view(form == field_form::bytes6 ? 6 : 8, bytes)) {
        return false;
    }
    if (form == field_form::plain64) {
        std::array<std::uint8_t, 8> reversed{};
        std::reverse_copy(bytes.begin(), bytes.end(), reversed.begin());
        text.add(upper_hex(reversed));
    } else {
        text.add(form == field_form::octets8  ? with_hyphens(bytes)
                 : form == field_form::bytes8 ? "0x" + upper_hex(bytes)
                                              : upper_hex(bytes));
    }
    return true;
}

[[nodiscard]] bool write_field(byte_reader reader, const node_field& field, node_text& text) {
    std::array<std::uint8_t, guid_size> guid{};
    if (!reader.skip(field.offset)) {
        return false;
    }
    switch (field.form) {
        case field_form::guid:
            if (!reader.copy(guid)) {
                return false;
            }
            text.add(guid_text(guid));
            return true;
        case field_form::text: text.add(field_text(reader.rest())); return true;
        case field_form::wide_text: text.add('"' + utf8_of_utf16(reader.rest()) + '"'); return true;
        case field_form::rest:
            if (!reader.at_end()) {
                text.add(upper_hex(reader.rest()));
            }
            return true;
        case field_form::bytes6:
        case field_form::bytes8:
        case field_form::octets8:
        case field_form::plain64: return write_bytes(reader, field.form, text);
        default: return write_number(reader, field.form, text);
    }
}

std::optional<std::string> write_fields(const node_form& form, byte_view data) {
    node_text text(form.name);
    for (const node_field& field : form.fields) {
        if (field.form != field_form::none && !write_field(byte_reader(data), field, text)) {
            return std::nullopt;
        }
    }
    return text.take();
}

const node_form* form_of(const node& node) {
    const auto* found = std::find_if(std::begin(forms), std::end(forms), [&node](const node_form& form) {
        return form.type == node.type && form.subtype == node.subtype;
    });
    return found != std::end(forms) ? found : nullptr;
}

std::string text_of(const node& node, const node_form* form) {
    std::optional<std::string> text;
    if (form != nullptr) {
        text = form->write != nullptr ? form->write(node.data) : write_fields(*form, node.data);
    }
    if (text) {
        return std::move(*text);
    }
    return node_text("Path").decimal(node.type).decimal(node.subtype).add(upper_hex(node.data)).take();
}

// A path may spread a file's name over several nodes, with or without what parts them.
void append_file(std::string_view part, std::string& file) {
    if (!file.empty() && !file.ends_with('\\') && !part.starts_with('\\')) {
        file += '\\';
    }
    file += part;
}

// Where the nodes of a path lead, node by node.
struct path_places {
    node_place previous = node_place::other;
    node_place last = node_place::other;
    std::size_t count = 0;
};

void note_place(node_place where, std::string_view text, path_places& places, device_path& out) {
    places.previous = places.last;
    places.last = where;
    ++places.count;
    out.in_firmware = out.in_firmware || where == node_place::firmware;
    out.over_network = out.over_network || where == node_place::network;
    if (where == node_place::file) {
        append_file(text, out.file);
    }
}

// An option ROM's image is named by its device, or by a range of the ROM behind that, or by the range alone.
bool ends_in_option_rom(const path_places& places) {
    return places.last == node_place::pci ||
           (places.last == node_place::offset_range && (places.count == 1 || places.previous == node_place::pci));
}

// One path with all its instances, up to and with its end node.
[[nodiscard]] bool decode_path(byte_reader& reader, device_path& out) {
    path_places places;
    const char* joint = "";
    node next;
    while (read_node(reader, next)) {
        if (next.type == end_type && next.subtype == end_of_path) {
            out.in_option_rom = ends_in_option_rom(places);
            return true;
        }
        if (next.type == end_type && next.subtype == end_of_instance) {
            joint = ",";
            continue;
        }
        const node_form* const form = form_of(next);
        const std::string text = text_of(next, form);
        out.text += joint + text;
        joint = "/";
        note_place(form != nullptr ? form->place : node_place::other, text, places, out);
    }
    return false;
}

}  // namespace

bool decode_device_path(byte_view bytes, device_path& out) {
    out = {};
    byte_reader reader(bytes);
    if (!decode_path(reader, out)) {
        return false;
    }
    // A load option may list further paths, which are for its vendor.
    device_path further;
    while (!reader.at_end() && decode_path(reader, further)) {
        out.text += ',' + further.text;
        further = {};
    }
    return true;
}

}  // namespace vellum
