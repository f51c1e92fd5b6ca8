// Nodes by which a device is reached over a bus or a network.
#include <charconv>

#include "tpm/event_details/device_path_nodes.h"
#include "tpm/event_details/guid_literal.h"

namespace vellum {
namespace {

constexpr named_number ip_protocols[] = {{6, "TCP"}, {17, "UDP"}};

std::string ipv4_address(std::span<const std::uint8_t, 4> address) {
    std::string text;
    for (const std::uint8_t byte : address) {
        text += (text.empty() ? "" : ".") + std::to_string(byte);
    }
    return text;
}

using ipv6_groups = std::array<std::uint16_t, 8>;

struct group_run {
    std::size_t begin = 0;
    std::size_t length = 0;
};

// The longest run of zero groups, of equal ones the first.
group_run zero_groups(const ipv6_groups& groups) {
    group_run best;
    group_run current;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        current = groups[i] != 0 ? group_run{i + 1, 0} : group_run{current.begin, current.length + 1};
        best = current.length > best.length ? current : best;
    }
    return best;
}

std::string group_text(std::uint16_t group) {
    std::array<char, 4> digits{};
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), group, 16).ptr;
    return {digits.data(), end};
}

// RFC 5952: "::" stands for the longest run of two zero groups or more.
std::string ipv6_address(std::span<const std::uint8_t, 16> address) {
    ipv6_groups groups{};
    for (std::size_t i = 0; i < groups.size(); ++i) {
        groups[i] = static_cast<std::uint16_t>(address[2 * i] << 8 | address[2 * i + 1]);
    }
    const group_run zeros = zero_groups(groups);
    std::string text;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (zeros.length > 1 && i == zeros.begin) {
            text += "::";
            i += zeros.length - 1;
        } else {
            text += (text.empty() || text.ends_with(':') ? "" : ":") + group_text(groups[i]);
        }
    }
    return text;
}

// Where a SAS or SATA drive is: kind, place, connection and bay. The low bits say how much of that is known.
void add_topology(node_text& text, std::uint16_t topology) {
    const unsigned known_bytes = topology & 0x0F;
    if (known_bytes == 0) {
        text.add("NoTopology").add("0").add("0").add("0");
        return;
    }
    text.add((topology & 0x10) != 0 ? "SATA" : "SAS");
    text.add((topology & 0x20) != 0 ? "External" : "Internal");
    text.add((topology & 0x40) != 0 ? "Expanded" : "Direct");
    if (known_bytes == 1) {
        text.add("0");
    } else {
        text.hex((topology >> 8) + 1U);
    }
}

// SAS as a vendor's node, before it got one of its own.
std::optional<std::string> vendor_sas_text(byte_view data) {
    byte_reader reader(data);
    std::uint32_t reserved = 0;
    std::uint64_t address = 0;
    std::uint64_t unit = 0;
    std::uint16_t topology = 0;
    std::uint16_t port = 0;
    if (!(reader.u32_le(reserved) && reader.u64_le(address) && reader.u64_le(unit) && reader.u16_le(topology) &&
          reader.u16_le(port))) {
        return std::nullopt;
    }
    node_text text("SAS");
    text.hex(address).hex(unit).hex(port);
    add_topology(text, topology);
    return text.hex(reserved).take();
}

std::optional<std::string> flow_control_text(byte_view data) {
    constexpr named_number kinds[] = {{0, "None"}, {1, "Hardware"}, {2, "XonXoff"}};
    byte_reader reader(data);
    std::uint32_t kind = 0;
    return reader.u32_le(kind) ? std::optional(node_text("UartFlowCtrl").named(kinds, kind).take()) : std::nullopt;
}

struct vendor_messaging {
    std::array<std::uint8_t, guid_size> vendor;
    const char* name;                                     // of one that has nothing but its GUID
    std::optional<std::string> (*write)(byte_view data);  // of one that has, behind the GUID
};

constexpr vendor_messaging vendor_nodes[] = {
    {guid_literal("E0C14753-F9BE-11D2-9A0C-0090273FC14D"), "VenPcAnsi", nullptr},
    {guid_literal("DFA66065-B419-11D3-9A2D-0090273FC14D"), "VenVt100", nullptr},
    {guid_literal("7BAEC70B-57E0-4C76-8E87-2F9E28088343"), "VenVt100Plus", nullptr},
    {guid_literal("AD15A0D6-8BEC-4ACF-A073-D01DE77E2D88"), "VenUtf8", nullptr},
    {guid_literal("EBA4E8D2-3858-41EC-A281-2647BA9660D0"), "DebugPort", nullptr},
    {guid_literal("37499A9D-542F-4C89-A026-35DA142094E4"), nullptr, flow_control_text},
    {guid_literal("D487DDB4-008B-11D9-AFDC-001083FFCA4D"), nullptr, vendor_sas_text},
};

std::optional<std::string> known_vendor_text(const std::array<std::uint8_t, guid_size>& vendor, byte_view data) {
    for (const vendor_messaging& row : vendor_nodes) {
        if (row.vendor == vendor && row.write != nullptr) {
            return row.write(data);
        }
        if (row.vendor == vendor && data.empty()) {
            return node_text(row.name).take();
        }
    }
    return std::nullopt;
}

constexpr named_number usb_classes[] = {
    {1, "UsbAudio"},      {2, "UsbCDCControl"},  {3, "UsbHID"},          {6, "UsbImage"},
    {7, "UsbPrinter"},    {8, "UsbMassStorage"}, {9, "UsbHub"},          {10, "UsbCDCData"},
    {11, "UsbSmartCard"}, {14, "UsbVideo"},      {220, "UsbDiagnostic"}, {224, "UsbWireless"},
};

// Of the class of applications it is the subclass that has a name.
constexpr std::uint8_t usb_application = 254;
constexpr named_number usb_applications[] = {
    {1, "UsbDeviceFirmwareUpdate"}, {2, "UsbIrdaBridge"}, {3, "UsbTestAndMeasurement"}};

const char* usb_name(std::span<const named_number> table, std::uint8_t value) {
    const auto row =
        std::find_if(table.begin(), table.end(), [value](const named_number& entry) { return entry.value == value; });
    return row != table.end() ? row->name : nullptr;
}

// The choices that an iSCSI login leaves open, two bits each.
constexpr std::uint16_t iscsi_checksum = 2;
constexpr std::uint16_t iscsi_no_authentication = 2;

const char* checksum_name(unsigned choice) {
    return (choice & 3) == iscsi_checksum ? "CRC32C" : "None";
}

const char* authentication_name(std::uint16_t options) {
    if ((options >> 10 & 3) == iscsi_no_authentication) {
        return "None";
    }
    return (options >> 12 & 1) != 0 ? "CHAP_UNI" : "CHAP_BI";
}

}  // namespace

std::optional<std::string> ata_text(byte_view data) {
    constexpr named_number controllers[] = {{0, "Primary"}, {1, "Secondary"}};
    constexpr named_number drives[] = {{0, "Master"}, {1, "Slave"}};
    byte_reader reader(data);
    std::uint8_t controller = 0;
    std::uint8_t drive = 0;
    std::uint16_t unit = 0;
    if (!(reader.u8(controller) && reader.u8(drive) && reader.u16_le(unit))) {
        return std::nullopt;
    }
    return node_text("Ata").named(controllers, controller).named(drives, drive).hex(unit).take();
}

std::optional<std::string> vendor_messaging_text(byte_view data) {
    byte_reader reader(data);
    std::array<std::uint8_t, guid_size> vendor{};
    if (!reader.copy(vendor)) {
        return std::nullopt;
    }
    if (auto known = known_vendor_text(vendor, reader.rest())) {
        return known;
    }
    node_text text("VenMsg");
    text.add(guid_text(vendor));
    return reader.at_end() ? text.take() : text.add(upper_hex(reader.rest())).take();
}

std::optional<std::string> mac_text(byte_view data) {
    constexpr std::size_t field_size = 32;
    constexpr std::size_t ethernet_size = 6;
    byte_reader reader(data);
    byte_view address;
    std::uint8_t type = 0;
    if (!(reader.view(field_size, address) && reader.u8(type))) {
        return std::nullopt;
    }
    return node_text("MAC").add(upper_hex(address.first(type <= 1 ? ethernet_size : field_size))).hex(type).take();
}

std::optional<std::string> ipv4_text(byte_view data) {
    constexpr named_number origins[] = {{0, "DHCP"}, {1, "Static"}};
    byte_reader reader(data);
    std::array<std::uint8_t, 4> local{};
    std::array<std::uint8_t, 4> remote{};
    std::uint16_t protocol = 0;
    std::uint8_t origin = 0;
    if (!(reader.copy(local) && reader.copy(remote) && reader.skip(4) && reader.u16_le(protocol) &&
          reader.u8(origin))) {
        return std::nullopt;
    }
    node_text text("IPv4");
    text.add(ipv4_address(remote)).named(ip_protocols, protocol).named(origins, origin).add(ipv4_address(local));
    std::array<std::uint8_t, 4> gateway{};
    std::array<std::uint8_t, 4> mask{};
    if (reader.copy(gateway) && reader.copy(mask)) {
        text.add(ipv4_address(gateway)).add(ipv4_address(mask));
    }
    return text.take();
}

std::optional<std::string> ipv6_text(byte_view data) {
    constexpr named_number origins[] = {{0, "Static"}, {1, "StatelessAutoConfigure"}, {2, "StatefulAutoConfigure"}};
    byte_reader reader(data);
    std::array<std::uint8_t, 16> local{};
    std::array<std::uint8_t, 16> remote{};
    std::uint16_t protocol = 0;
    std::uint8_t origin = 0;
    if (!(reader.copy(local) && reader.copy(remote) && reader.skip(4) && reader.u16_le(protocol) &&
          reader.u8(origin))) {
        return std::nullopt;
    }
    node_text text("IPv6");
    text.add(ipv6_address(remote)).named(ip_protocols, protocol).named(origins, origin).add(ipv6_address(local));
    std::uint8_t prefix = 0;
    std::array<std::uint8_t, 16> gateway{};
    if (reader.u8(prefix) && reader.copy(gateway)) {
        text.hex(prefix).add(ipv6_address(gateway));
    }
    return text.take();
}

std::optional<std::string> uart_text(byte_view data) {
    constexpr named_number parities[] = {{0, "D"}, {1, "N"}, {2, "E"}, {3, "O"}, {4, "M"}, {5, "S"}};
    constexpr named_number stops[] = {{0, "D"}, {1, "1"}, {2, "1.5"}, {3, "2"}};
    byte_reader reader(data);
    std::uint64_t baud = 0;
    std::uint8_t bits = 0;
    std::uint8_t parity = 0;
    std::uint8_t stop = 0;
    if (!(reader.skip(4) && reader.u64_le(baud) && reader.u8(bits) && reader.u8(parity) && reader.u8(stop))) {
        return std::nullopt;
    }
    const auto or_default = [](std::uint64_t value) { return value == 0 ? "DEFAULT" : std::to_string(value); };
    return node_text("Uart")
        .add(or_default(baud))
        .add(or_default(bits))
        .named(parities, parity)
        .named(stops, stop)
        .take();
}

std::optional<std::string> usb_class_text(byte_view data) {
    byte_reader reader(data);
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::uint8_t device_class = 0;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
    if (!(reader.u16_le(vendor) && reader.u16_le(product) && reader.u8(device_class) && reader.u8(subclass) &&
          reader.u8(protocol))) {
        return std::nullopt;
    }
    if (const char* name = usb_name(usb_classes, device_class)) {
        return node_text(name).hex(vendor).hex(product).hex(subclass).hex(protocol).take();
    }
    const char* application = device_class == usb_application ? usb_name(usb_applications, subclass) : nullptr;
    if (application != nullptr) {
        return node_text(application).hex(vendor).hex(product).hex(protocol).take();
    }
    return node_text("UsbClass").hex(vendor).hex(product).hex(device_class).hex(subclass).hex(protocol).take();
}

std::optional<std::string> iscsi_text(byte_view data) {
    constexpr named_number protocols[] = {{0, "TCP"}};
    byte_reader reader(data);
    std::uint16_t protocol = 0;
    std::uint16_t options = 0;
    byte_view unit;
    std::uint16_t portal_group = 0;
    if (!(reader.u16_le(protocol) && reader.u16_le(options) && reader.view(8, unit) && reader.u16_le(portal_group))) {
        return std::nullopt;
    }
    node_text text("iSCSI");
    text.add(field_text(reader.rest())).hex(portal_group).add("0x" + upper_hex(unit));
    text.add(checksum_name(options)).add(checksum_name(options >> 2U)).add(authentication_name(options));
    return text.named(protocols, protocol).take();
}

std::optional<std::string> sas_text(byte_view data) {
    byte_reader reader(data);
    byte_view address;
    byte_view unit;
    std::uint16_t topology = 0;
    std::uint16_t port = 0;
    if (!(reader.view(8, address) && reader.view(8, unit) && reader.u16_le(topology) && reader.u16_le(port))) {
        return std::nullopt;
    }
    node_text text("SasEx");
    text.add("0x" + upper_hex(address)).add("0x" + upper_hex(unit)).hex(port);
    add_topology(text, topology);
    return text.take();
}

std::optional<std::string> dns_text(byte_view data) {
    byte_reader reader(data);
    std::uint8_t is_ipv6 = 0;
    std::array<std::uint8_t, 16> address{};
    if (!reader.u8(is_ipv6) || reader.remaining() % address.size() != 0) {
        return std::nullopt;
    }
    node_text text("Dns");
    while (reader.copy(address)) {
        text.add(is_ipv6 != 0 ? ipv6_address(address) : ipv4_address(std::span(address).first<4>()));
    }
    return text.take();
}

std::optional<std::string> rest_service_text(byte_view data) {
    constexpr std::uint8_t vendor_specific = 0xFF;
    byte_reader reader(data);
    std::uint8_t service = 0;
    std::uint8_t access = 0;
    if (!(reader.u8(service) && reader.u8(access))) {
        return std::nullopt;
    }
    node_text text("RestService");
    text.hex(service).hex(access);
    std::array<std::uint8_t, guid_size> vendor{};
    if (service == vendor_specific && reader.copy(vendor)) {
        text.add(guid_text(vendor)).add(upper_hex(reader.rest()));
    }
    return text.take();
}

}  // namespace vellum
