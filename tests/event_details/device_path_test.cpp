// Device paths in the text form of the UEFI specification, what they say about where they lead, and damaged ones.
#include <gtest/gtest.h>

#include "lab/byte_builder.h"
#include "tests/support/tamper.h"
#include "tpm/event_details/device_path.h"
#include "tpm/event_details/guid_literal.h"

namespace vellum {
namespace {

using lab::byte_builder;
using test::bytes;

constexpr auto guid = guid_literal("00112233-4455-6677-8899-AABBCCDDEEFF");

bytes node(std::uint8_t type, std::uint8_t subtype, byte_view data) {
    return byte_builder().u8(type).u8(subtype).u16_le(static_cast<std::uint16_t>(4 + data.size())).bytes(data).take();
}

bytes path_of(std::initializer_list<bytes> nodes) {
    byte_builder path;
    for (const bytes& one : nodes) {
        path.bytes(one);
    }
    return path.u32_le(0x0004FF7F).take();
}

bytes vendor_data(std::array<std::uint8_t, guid_size> vendor, byte_view data) {
    return byte_builder().bytes(vendor).bytes(data).take();
}

bytes partition(std::uint8_t format, std::uint8_t signature_type) {
    return byte_builder().u32_le(2).u64_le(0xFA800).u64_le(0x32000).bytes(guid).u8(format).u8(signature_type).take();
}

bytes ram_disk(std::array<std::uint8_t, guid_size> type) {
    return byte_builder().u64_le(0x1000).u64_le(0x1FFF).bytes(type).u16_le(3).take();
}

bytes usb_class(std::uint8_t device_class, std::uint8_t subclass) {
    return byte_builder().u16_le(0x1234).u16_le(0xFFFF).u8(device_class).u8(subclass).u8(9).take();
}

bytes file(std::string_view name) {
    return node(4, 4, byte_builder().utf16(name).u16_le(0).take());
}

std::string text_of(byte_view path) {
    device_path decoded;
    return decode_device_path(path, decoded) ? decoded.text : "refused: " + decoded.text;
}

constexpr auto sas_vendor = guid_literal("D487DDB4-008B-11D9-AFDC-001083FFCA4D");

TEST(DevicePath, EachNodeHasItsText) {
    const bytes ipv6_local = byte_builder().fill(15).u8(1).take();
    const bytes ipv6_remote =
        byte_builder().u16_be(0x2001).u16_be(0xDB8).fill(4).u16_be(1).fill(4).u16_be(0xA).take();
    const bytes ipv4_head = byte_builder().u32_be(0xC0A80102).u32_be(0x0A000001).u32_le(0).u16_le(6).u8(1).take();
    const struct {
        std::uint8_t type;
        std::uint8_t subtype;
        bytes data;
        std::string text;
    } rows[] = {
        {1, 1, {2, 0x1F}, "Pci(0x1F,0x2)"},
        {1, 2, {1}, "PcCard(0x1)"},
        {1, 3, byte_builder().u32_le(11).u64_le(0xFF000000).u64_le(0xFFFFFFFF).take(),
         "MemoryMapped(0xB,0xFF000000,0xFFFFFFFF)"},
        {1, 4, vendor_data(guid, {}), "VenHw(00112233-4455-6677-8899-AABBCCDDEEFF)"},
        {1, 4, vendor_data(guid, bytes{0xAB, 1}), "VenHw(00112233-4455-6677-8899-AABBCCDDEEFF,AB01)"},
        {1, 5, {7, 0, 0, 0}, "Ctrl(0x7)"},
        {1, 6, {1, 0xA2, 0, 0, 0, 0, 0, 0, 0}, "BMC(0x1,0xA2)"},
        {2, 1, byte_builder().u32_le(0x0A0341D0).u32_le(1).take(), "PciRoot(0x1)"},
        {2, 1, byte_builder().u32_le(0x0A0841D0).u32_le(0).take(), "PcieRoot(0x0)"},
        {2, 1, byte_builder().u32_le(0x050141D0).u32_le(2).take(), "Serial(0x2)"},
        {2, 1, byte_builder().u32_le(0x0C0241D0).u32_le(1).take(), "Acpi(PNP0C02,0x1)"},
        {2, 1, byte_builder().u32_le(0x00000000).u32_le(1).take(), "Acpi(0x00000000,0x1)"},
        {2, 2, byte_builder().u32_le(0x0A0841D0).u32_le(0).u32_le(0x0A0341D0).text({"\0RB0\0\0", 6}).take(),
         "PcieRoot(RB0)"},
        {2, 2, byte_builder().u32_le(0x000141D0).u32_le(0).u32_le(0).text({"\0U7\0\0", 5}).take(),
         "AcpiExp(PNP0001,0,U7)"},
        {2, 2, byte_builder().u32_le(0x000141D0).u32_le(5).u32_le(0x000241D0).text({"H\0U\0C\0", 6}).take(),
         "AcpiEx(PNP0001,PNP0002,0x5,H,C,U)"},
        {2, 3, byte_builder().u32_le(0x80010100).u32_le(0x80010101).take(), "AcpiAdr(0x80010100,0x80010101)"},
        {3, 1, {1, 0, 2, 0}, "Ata(Secondary,Master,0x2)"},
        {3, 2, {1, 0, 0x10, 0}, "Scsi(0x1,0x10)"},
        {3, 3, byte_builder().u32_le(0).u64_le(0x123456789ABCDEF0).u64_le(0).take(), "Fibre(0x123456789ABCDEF0,0x0)"},
        {3, 4, byte_builder().u32_le(0).u64_le(0x0023456789ABCDEF).take(), "I1394(0023456789ABCDEF)"},
        {3, 5, {3, 1}, "USB(0x3,0x1)"},
        {3, 9, byte_builder().u32_le(1).bytes(guid).u64_le(2).u64_le(3).u64_le(4).take(),
         "Infiniband(0x1,00112233-4455-6677-8899-AABBCCDDEEFF,0x2,0x3,0x4)"},
        {3, 10, vendor_data(guid_literal("E0C14753-F9BE-11D2-9A0C-0090273FC14D"), {}), "VenPcAnsi()"},
        {3, 10, vendor_data(guid_literal("37499A9D-542F-4C89-A026-35DA142094E4"), bytes{2, 0, 0, 0}),
         "UartFlowCtrl(XonXoff)"},
        {3, 10, vendor_data(guid, bytes{1}), "VenMsg(00112233-4455-6677-8899-AABBCCDDEEFF,01)"},
        {3, 10,
         vendor_data(sas_vendor, byte_builder().u32_le(0).u64_le(0x5000).u64_le(1).u16_le(0x0232).u16_le(4).take()),
         "SAS(0x5000,0x1,0x4,SATA,External,Direct,0x3,0x0)"},
        {3, 10, vendor_data(sas_vendor, byte_builder().u32_le(0).u64_le(0x5000).u64_le(1).u32_le(0).take()),
         "SAS(0x5000,0x1,0x0,NoTopology,0,0,0,0x0)"},
        {3, 11, byte_builder().u32_be(0x0CC47AFF).u16_be(0x601C).fill(26).u8(1).take(), "MAC(0CC47AFF601C,0x1)"},
        {3, 12, ipv4_head, "IPv4(10.0.0.1,TCP,Static,192.168.1.2)"},
        {3, 12, byte_builder().bytes(ipv4_head).u32_be(0xC0A80101).u32_be(0xFFFFFF00).take(),
         "IPv4(10.0.0.1,TCP,Static,192.168.1.2,192.168.1.1,255.255.255.0)"},
        {3, 13, byte_builder().bytes(ipv6_local).bytes(ipv6_remote).u32_le(0).u16_le(17).u8(2).u8(64).fill(16).take(),
         "IPv6(2001:db8::1:0:0:a,UDP,StatefulAutoConfigure,::1,0x40,::)"},
        {3, 14, byte_builder().u32_le(0).u64_le(115200).u8(8).u8(1).u8(2).take(), "Uart(115200,8,N,1.5)"},
        {3, 14, byte_builder().fill(15).take(), "Uart(DEFAULT,DEFAULT,D,D)"},
        {3, 15, usb_class(8, 6), "UsbMassStorage(0x1234,0xFFFF,0x6,0x9)"},
        {3, 15, usb_class(254, 2), "UsbIrdaBridge(0x1234,0xFFFF,0x9)"},
        {3, 15, usb_class(254, 9), "UsbClass(0x1234,0xFFFF,0xFE,0x9,0x9)"},
        {3, 16, byte_builder().u16_le(1).u16_le(2).u16_le(3).utf16("SN7").take(), "UsbWwid(0x2,0x3,0x1,\"SN7\")"},
        {3, 17, {4}, "Unit(0x4)"},
        {3, 18, {0, 0, 0xFF, 0xFF, 0, 0}, "Sata(0x0,0xFFFF,0x0)"},
        {3, 19, byte_builder().u16_le(0).u16_le(0x0802).fill(8, 1).u16_le(1).text("iqn.a").take(),
         "iSCSI(iqn.a,0x1,0x0101010101010101,CRC32C,None,None,TCP)"},
        {3, 20, {0x0A, 1}, "Vlan(266)"},
        {3, 21, byte_builder().u32_le(0).u64_le(0x10).u64_le(1).take(),
         "FibreEx(0x1000000000000000,0x0100000000000000)"},
        {3, 22, byte_builder().fill(8, 5).fill(8).u16_le(0x41).u16_le(1).take(),
         "SasEx(0x0505050505050505,0x0000000000000000,0x1,SAS,Internal,Expanded,0)"},
        {3, 23, {1, 0, 0, 0, 0, 0x25, 0x38, 0x8C, 0x91, 0xB9, 0x6E, 0xFE}, "NVMe(0x1,00-25-38-8C-91-B9-6E-FE)"},
        {3, 24, byte_builder().text("http://a/b").take(), "Uri(http://a/b)"},
        {3, 24, {}, "Uri()"},
        {3, 25, {1, 2}, "UFS(0x1,0x2)"},
        {3, 28, byte_builder().text("net").fill(29).take(), "Wi-Fi(net)"},
        {3, 30, {1, 2, 3, 4, 5, 6, 1}, "BluetoothLE(010203040506,0x1)"},
        {3, 31, byte_builder().u8(0).u32_be(0x08080808).fill(12).u32_be(0x01010101).fill(12).take(),
         "Dns(8.8.8.8,1.1.1.1)"},
        {3, 31, byte_builder().u8(1).bytes(ipv6_remote).take(), "Dns(2001:db8::1:0:0:a)"},
        {3, 33, {1, 2}, "RestService(0x1,0x2)"},
        {4, 1, partition(2, 2), "HD(2,GPT,00112233-4455-6677-8899-AABBCCDDEEFF,0xFA800,0x32000)"},
        {4, 1, partition(1, 1), "HD(2,MBR,0x00112233,0xFA800,0x32000)"},
        {4, 1, partition(9, 0), "HD(2,0x9,0,0xFA800,0x32000)"},
        {4, 2, byte_builder().u32_le(1).u64_le(0x23).u64_le(0x400).take(), "CDROM(0x1,0x23,0x400)"},
        {4, 6, vendor_data(guid, {}), "FvFile(00112233-4455-6677-8899-AABBCCDDEEFF)"},
        {4, 8, byte_builder().u32_le(0).u64_le(0xF600).u64_le(0x207FF).take(), "Offset(0xF600,0x207FF)"},
        {4, 9, ram_disk(guid_literal("3D5ABD30-4175-87CE-6D64-D2ADE523C4BB")), "VirtualCD(0x1000,0x1FFF,3)"},
        {4, 9, ram_disk(guid), "RamDisk(0x1000,0x1FFF,3,00112233-4455-6677-8899-AABBCCDDEEFF)"},
        {5, 1, byte_builder().u16_le(2).u16_le(0x10).text({"Disk\0", 5}).take(), "BBS(HD,Disk,0x10)"},
        {9, 8, {0xAB, 0xCD}, "Path(9,8,ABCD)"},
        {1, 1, {2}, "Path(1,1,02)"},
        {3, 12, {1, 2, 3}, "Path(3,12,010203)"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(text_of(path_of({node(row.type, row.subtype, row.data)})), row.text);
    }
}

const bytes root = node(2, 1, byte_builder().u32_le(0x0A0341D0).u32_le(0).take());
const bytes pci = node(1, 1, bytes{0, 3});
const bytes range = node(4, 8, byte_builder().u32_le(0).u64_le(1).u64_le(2).take());
const bytes volume_file = node(4, 6, guid);
const bytes network = node(3, 24, {});

TEST(DevicePath, SaysWhereItLeads) {
    const struct {
        bytes path;
        const char* text;
        const char* file;
        const char* places;
    } rows[] = {
        {path_of({}), "", "", ""},
        {path_of({root, pci, file("\\EFI\\A.EFI")}), "PciRoot(0x0)/Pci(0x3,0x0)/\\EFI\\A.EFI", "\\EFI\\A.EFI", ""},
        {path_of({file("\\EFI"), file("BOOT\\"), file("A.EFI")}), "\\EFI/BOOT\\/A.EFI", "\\EFI\\BOOT\\A.EFI", ""},
        {path_of({root, pci, range}), "PciRoot(0x0)/Pci(0x3,0x0)/Offset(0x1,0x2)", "", "rom"},
        {path_of({root, pci}), "PciRoot(0x0)/Pci(0x3,0x0)", "", "rom"},
        {path_of({range}), "Offset(0x1,0x2)", "", "rom"},
        {path_of({volume_file, range}), "FvFile(00112233-4455-6677-8899-AABBCCDDEEFF)/Offset(0x1,0x2)", "",
         "firmware"},
        {path_of({root, pci, network}), "PciRoot(0x0)/Pci(0x3,0x0)/Uri()", "", "network"},
        {path_of({pci, node(0x7F, 1, {}), root}), "Pci(0x3,0x0),PciRoot(0x0)", "", ""},
    };
    for (const auto& row : rows) {
        device_path decoded;
        ASSERT_TRUE(decode_device_path(row.path, decoded)) << row.text;
        EXPECT_EQ(decoded.text, row.text);
        EXPECT_EQ(decoded.file, row.file) << row.text;
        const std::string places = std::string(decoded.in_firmware ? "firmware" : "") +
                                   (decoded.over_network ? "network" : "") + (decoded.in_option_rom ? "rom" : "");
        EXPECT_EQ(places, row.places) << row.text;
    }
}

TEST(DevicePath, WhatFollowsTheFirstPathIsShownButDoesNotLeadAnywhere) {
    const bytes two = byte_builder().bytes(path_of({root, pci, file("a")})).bytes(path_of({volume_file})).take();
    device_path decoded;
    ASSERT_TRUE(decode_device_path(two, decoded));
    EXPECT_EQ(decoded.text, "PciRoot(0x0)/Pci(0x3,0x0)/a,FvFile(00112233-4455-6677-8899-AABBCCDDEEFF)");
    EXPECT_FALSE(decoded.in_firmware);
    EXPECT_EQ(text_of(byte_builder().bytes(path_of({pci})).fill(8).take()), "Pci(0x3,0x0)");
}

TEST(DevicePath, TextsBeyondAsciiAreUtf8) {
    EXPECT_EQ(text_of(path_of({node(4, 4, byte_builder().u16_le(0x00E9).u16_le(0xD83D).u16_le(0xDE00).take())})),
              "\u00E9\U0001F600");
}

TEST(DevicePath, ADamagedPathIsRefusedWithWhatStandsBefore) {
    const bytes whole = path_of({root, pci, file("\\A"), node(3, 11, bytes(33)), node(4, 1, partition(2, 2))});
    test::for_each_prefix(whole, [](const bytes& cut) {
        device_path decoded;
        EXPECT_FALSE(decode_device_path(cut, decoded));
    });
    test::for_each_byte_change(whole, [](const bytes& changed) {
        device_path decoded;
        const bool fits = decode_device_path(changed, decoded);
        EXPECT_LT(decoded.text.size(), 4 * changed.size());
        EXPECT_TRUE(!fits || !decoded.text.empty());
    });
    EXPECT_EQ(text_of(byte_builder().bytes(root).u8(1).u8(1).u16_le(3).take()), "refused: PciRoot(0x0)");
    EXPECT_EQ(text_of(byte_builder().bytes(root).u8(1).u8(1).u16_le(7).u16_le(0).take()), "refused: PciRoot(0x0)");
}

}  // namespace
}  // namespace vellum
