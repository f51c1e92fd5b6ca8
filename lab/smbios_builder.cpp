#include "lab/smbios_builder.h"

#include "lab/byte_builder.h"

namespace vellum::lab {
namespace {

constexpr std::size_t structure_head_size = 4;

void write_structure(byte_builder& out, const smbios_structure& structure) {
    out.u8(structure.type);
    out.u8(structure.length.value_or(static_cast<std::uint8_t>(structure_head_size + structure.fields.size())));
    out.u16_le(structure.handle).bytes(structure.fields);
    for (const std::string& text : structure.strings) {
        out.text(text).u8(0);
    }
    if (structure.terminated) {
        out.fill(structure.strings.empty() ? 2 : 1);
    }
}

// Adds the text to the structure's set and returns its number.
std::uint8_t add(smbios_structure& structure, const std::string& text) {
    if (text.empty()) {
        return 0;
    }
    structure.strings.push_back(text);
    return static_cast<std::uint8_t>(structure.strings.size());
}

}  // namespace

std::vector<std::uint8_t> build(const smbios_data& data) {
    byte_builder table;
    for (const smbios_structure& structure : data.structures) {
        write_structure(table, structure);
    }
    byte_builder out;
    out.u32_le(data.version).u32_le(data.table_length.value_or(static_cast<std::uint32_t>(table.size())));
    return out.bytes(table.take()).take();
}

// Vendor, version, start segment, release date, ROM size; the rest of the 24 bytes are characteristics.
smbios_structure bios_structure(const smbios_platform& platform) {
    smbios_structure out{.type = 0, .handle = 0x0001};
    byte_builder fields;
    fields.u8(add(out, "Vellum Firmware")).u8(add(out, platform.bios_version)).u16_le(0xE000);
    fields.u8(add(out, "01/31/2025")).u8(0xFF).fill(14);
    out.fields = fields.take();
    return out;
}

// Manufacturer, product, version, serial number, UUID, wake-up type (power switch), SKU number, family.
smbios_structure system_structure(const smbios_platform& platform) {
    smbios_structure out{.type = 1, .handle = 0x0002};
    byte_builder fields;
    fields.u8(add(out, "Vellum")).u8(add(out, platform.product_name)).u8(0).u8(add(out, platform.serial_number));
    fields.bytes(platform.uuid).u8(6).u8(add(out, platform.sku_number)).u8(0);
    out.fields = fields.take();
    return out;
}

// Offsets from the structure's start: flag at 24, version words at 28, identifier at 56.
smbios_structure orbis_structure(const smbios_platform& platform) {
    const auto& [first, second, third, fourth] = platform.orbis_version;
    smbios_structure out{.type = 131, .handle = 0x0083};
    byte_builder fields;
    fields.fill(20).u8(platform.orbis_flag).fill(3);
    fields.u16_le(second).u16_le(first).u16_le(fourth).u16_le(third).fill(20);
    out.fields = fields.text(platform.orbis_identifier).take();
    return out;
}

smbios_structure end_structure() {
    return {.type = 127, .handle = 0xFEFF};
}

smbios_data smbios_of(const smbios_platform& platform) {
    smbios_data data;
    data.structures = {bios_structure(platform), system_structure(platform), orbis_structure(platform),
                       end_structure()};
    return data;
}

}  // namespace vellum::lab
