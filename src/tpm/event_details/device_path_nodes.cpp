#include "tpm/event_details/device_path_nodes.h"

#include <bit>

#include "tpm/event_details/guid_literal.h"
#include "tpm/event_details/text_fields.h"

namespace vellum {
namespace {

// The identifier of a device that plug and play knows by a number.
constexpr std::uint32_t pnp(std::uint32_t number) {
    constexpr std::uint32_t letters = 0x41D0;
    return number << 16 | letters;
}

constexpr std::uint32_t pci_root = pnp(0x0A03);
constexpr std::uint32_t pcie_root = pnp(0x0A08);

constexpr named_number acpi_shortcuts[] = {
    {pci_root, "PciRoot"},     {pcie_root, "PcieRoot"}, {pnp(0x0604), "Floppy"},
    {pnp(0x0301), "Keyboard"}, {pnp(0x0501), "Serial"}, {pnp(0x0401), "ParallelPort"},
};

std::string big_endian_hex(std::uint64_t number, std::size_t digits) {
    auto bytes = little_endian_bytes(number);
    std::reverse(bytes.begin(), bytes.end());
    return upper_hex(bytes).substr(2 * bytes.size() - digits);
}

// "PNP0A03": three letters of five bits each, then four digits. A number when the letters are none.
std::string eisa_id_text(std::uint32_t id) {
    std::string text;
    for (const unsigned shift : {10U, 5U, 0U}) {
        const std::uint32_t letter = id >> shift & 0x1F;
        if (letter < 1 || letter > 26) {
            return "0x" + big_endian_hex(id, 8);
        }
        text += static_cast<char>('A' + letter - 1);
    }
    return text + big_endian_hex(id >> 16, 4);
}

// "0" where there is none.
std::string compatible_id_text(std::uint32_t id) {
    return id == 0 ? "0" : eisa_id_text(id);
}

// A text that is ended by a zero.
[[nodiscard]] bool read_text(byte_reader& reader, std::string& out) {
    const byte_view rest = reader.rest();
    const auto end = std::find(rest.begin(), rest.end(), std::uint8_t{0});
    if (end == rest.end()) {
        return false;
    }
    out.assign(rest.begin(), end);
    return reader.skip(out.size() + 1);
}

struct acpi_expanded {
    std::uint32_t hardware = 0;
    std::uint32_t unique = 0;
    std::uint32_t compatible = 0;
    std::string hardware_text;
    std::string unique_text;
    std::string compatible_text;
};

// A root's unique identifier is its text where it has one.
std::string root_text(const char* name, const acpi_expanded& node) {
    node_text text(name);
    return node.unique_text.empty() ? text.hex(node.unique).take() : text.add(node.unique_text).take();
}

constexpr named_guid ram_disks[] = {
    {guid_literal("77AB535A-45FC-624B-5560-F7B281D1F96E"), "VirtualDisk"},
    {guid_literal("3D5ABD30-4175-87CE-6D64-D2ADE523C4BB"), "VirtualCD"},
    {guid_literal("5CEA02C9-4D07-69D3-269F-4496FBE096F9"), "PersistentVirtualDisk"},
    {guid_literal("08018188-42CD-BB48-100F-5387D53DED3D"), "PersistentVirtualCD"},
};

}  // namespace

node_text& node_text::hex(std::uint64_t number) {
    const auto digits = static_cast<std::size_t>(std::bit_width(number) + 3) / 4;
    return add("0x" + big_endian_hex(number, std::max<std::size_t>(digits, 1)));
}

std::optional<std::string> acpi_text(byte_view data) {
    byte_reader reader(data);
    std::uint32_t hardware = 0;
    std::uint32_t unique = 0;
    if (!(reader.u32_le(hardware) && reader.u32_le(unique))) {
        return std::nullopt;
    }
    for (const named_number& shortcut : acpi_shortcuts) {
        if (shortcut.value == hardware) {
            return node_text(shortcut.name).hex(unique).take();
        }
    }
    return node_text("Acpi").add(eisa_id_text(hardware)).hex(unique).take();
}

std::optional<std::string> acpi_expanded_text(byte_view data) {
    byte_reader reader(data);
    acpi_expanded node;
    if (!(reader.u32_le(node.hardware) && reader.u32_le(node.unique) && reader.u32_le(node.compatible) &&
          read_text(reader, node.hardware_text) && read_text(reader, node.unique_text) &&
          read_text(reader, node.compatible_text))) {
        return std::nullopt;
    }
    if (node.hardware == pcie_root || node.compatible == pcie_root) {
        return root_text("PcieRoot", node);
    }
    if (node.hardware == pci_root || node.compatible == pci_root) {
        return root_text("PciRoot", node);
    }
    const std::string hardware = eisa_id_text(node.hardware);
    const std::string compatible = compatible_id_text(node.compatible);
    if (node.hardware_text.empty() && node.compatible_text.empty() && node.unique == 0) {
        return node_text("AcpiExp").add(hardware).add(compatible).add(node.unique_text).take();
    }
    node_text text("AcpiEx");
    text.add(hardware).add(compatible).hex(node.unique);
    return text.add(node.hardware_text).add(node.compatible_text).add(node.unique_text).take();
}

std::optional<std::string> acpi_address_text(byte_view data) {
    byte_reader reader(data);
    std::uint32_t address = 0;
    node_text text("AcpiAdr");
    if (data.empty() || data.size() % sizeof(address) != 0) {
        return std::nullopt;
    }
    while (reader.u32_le(address)) {
        text.hex(address);
    }
    return text.take();
}

std::optional<std::string> hard_drive_text(byte_view data) {
    constexpr named_number formats[] = {{1, "MBR"}, {2, "GPT"}};
    constexpr std::uint8_t mbr_signature = 1;
    constexpr std::uint8_t guid_signature = 2;
    byte_reader reader(data);
    std::uint32_t partition = 0;
    std::uint64_t start = 0;
    std::uint64_t size = 0;
    std::array<std::uint8_t, guid_size> signature{};
    std::uint8_t format = 0;
    std::uint8_t signature_type = 0;
    if (!(reader.u32_le(partition) && reader.u64_le(start) && reader.u64_le(size) && reader.copy(signature) &&
          reader.u8(format) && reader.u8(signature_type))) {
        return std::nullopt;
    }
    node_text text("HD");
    text.decimal(partition).named(formats, format);
    if (signature_type == guid_signature) {
        text.add(guid_text(signature));
    } else if (signature_type == mbr_signature) {
        std::reverse(signature.begin(), signature.begin() + 4);
        text.add("0x" + upper_hex(byte_view(signature).first(4)));
    } else {
        text.add("0");
    }
    return text.hex(start).hex(size).take();
}

std::optional<std::string> ram_disk_text(byte_view data) {
    byte_reader reader(data);
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::array<std::uint8_t, guid_size> type{};
    std::uint16_t instance = 0;
    if (!(reader.u64_le(start) && reader.u64_le(end) && reader.copy(type) && reader.u16_le(instance))) {
        return std::nullopt;
    }
    for (const named_guid& row : ram_disks) {
        if (row.value == type) {
            return node_text(row.name).hex(start).hex(end).decimal(instance).take();
        }
    }
    return node_text("RamDisk").hex(start).hex(end).decimal(instance).add(guid_text(type)).take();
}

std::optional<std::string> file_path_text(byte_view data) {
    return utf8_of_utf16(data);
}

std::optional<std::string> bios_boot_text(byte_view data) {
    constexpr named_number types[] = {{1, "Floppy"}, {2, "HD"},  {3, "CDROM"},
                                      {4, "PCMCIA"}, {5, "USB"}, {6, "Network"}};
    byte_reader reader(data);
    std::uint16_t type = 0;
    std::uint16_t status = 0;
    if (!(reader.u16_le(type) && reader.u16_le(status))) {
        return std::nullopt;
    }
    return node_text("BBS").named(types, type).add(field_text(reader.rest())).hex(status).take();
}

}  // namespace vellum
