// What the events of a log say, in a line and as a tree; and that what does not fit says why.
#include <gtest/gtest.h>

#include "lab/byte_builder.h"
#include "lab/certificate_authority.h"
#include "lab/pcr5_builder.h"
#include "tests/support/tamper.h"
#include "tpm/event_details/event_text.h"

namespace vellum {
namespace {

using lab::byte_builder;
using test::bytes;

constexpr std::array<std::uint8_t, guid_size> global_vendor = {0x61, 0xDF, 0xE4, 0x8B, 0xCA, 0x93, 0xD2, 0x11,
                                                               0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C};
constexpr std::array<std::uint8_t, guid_size> database_vendor = {0xCB, 0xB2, 0x19, 0xD7, 0x3A, 0x3D, 0x96, 0x45,
                                                                 0xA3, 0xBC, 0xDA, 0xD0, 0x0E, 0x67, 0x65, 0x6F};
constexpr std::array<std::uint8_t, guid_size> x509_type = {0xA1, 0x59, 0xC0, 0xA5, 0xE4, 0x94, 0xA7, 0x4A,
                                                           0x87, 0xB5, 0xAB, 0x15, 0x5C, 0x2B, 0xF0, 0x72};
constexpr std::array<std::uint8_t, guid_size> sha256_type = {0x26, 0x16, 0xC4, 0xC1, 0x4C, 0x50, 0x92, 0x40,
                                                             0xAC, 0xA9, 0x41, 0xF9, 0x36, 0x93, 0x43, 0x28};

logged_event event_of(std::uint32_t type, byte_view data) {
    logged_event event;
    event.type = type;
    event.data = data;
    return event;
}

std::string summary(std::uint32_t type, const bytes& data) {
    const logged_event event = event_of(type, data);
    return summary_of(event, decode_event(event));
}

bytes text(std::string_view value) {
    return byte_builder().text(value).take();
}

bytes utf16(std::string_view value) {
    return byte_builder().utf16(value).u16_le(0).take();
}

bytes variable(byte_view vendor, std::string_view name, byte_view value) {
    return byte_builder().bytes(vendor).u64_le(name.size()).u64_le(value.size()).utf16(name).bytes(value).take();
}

bytes signature_list_of(byte_view type, std::initializer_list<bytes> entries) {
    const std::size_t entry_size = guid_size + entries.begin()->size();
    byte_builder list;
    list.bytes(type).u32_le(static_cast<std::uint32_t>(28 + entries.size() * entry_size)).u32_le(0);
    list.u32_le(static_cast<std::uint32_t>(entry_size));
    for (const bytes& entry : entries) {
        list.fill(guid_size, 0x11).bytes(entry);
    }
    return list.take();
}

bytes joined(const bytes& first, const bytes& second) {
    return byte_builder().bytes(first).bytes(second).take();
}

// A file on the first partition of a disk.
bytes file_path(std::string_view file) {
    return byte_builder()
        .u8(4)
        .u8(4)
        .u16_le(static_cast<std::uint16_t>(4 + 2 * file.size() + 2))
        .utf16(file)
        .u16_le(0)
        .u8(0x7F)
        .u8(0xFF)
        .u16_le(4)
        .take();
}

bytes image(byte_view path) {
    return byte_builder().u64_le(0x7E000000).u64_le(20480).u64_le(0x10000).u64_le(path.size()).bytes(path).take();
}

bytes load_option_of(std::string_view description, byte_view path, byte_view optional) {
    return byte_builder()
        .u32_le(1)
        .u16_le(static_cast<std::uint16_t>(path.size()))
        .utf16(description)
        .u16_le(0)
        .bytes(path)
        .bytes(optional)
        .take();
}

bytes spec_id(std::string_view vendor) {
    byte_builder out;
    out.text({"Spec ID Event03\0", 16}).u32_le(0).u8(0).u8(2).u8(105).u8(2).u32_le(2);
    out.u16_le(0x0004).u16_le(20).u16_le(0x000B).u16_le(32);
    return out.u8(static_cast<std::uint8_t>(vendor.size())).text(vendor).take();
}

bytes platform_identification() {
    byte_builder out;
    out.text("SP800-155 Event2").u32_le(343).fill(guid_size, 0xAB);
    for (const std::string_view value : {"Maker", "Model", "V1", "Firm"}) {
        out.u8(static_cast<std::uint8_t>(value.size() + 1)).text(value).u8(0);
    }
    return out.u32_le(7).u8(4).text("2.0").u8(0).take();
}

TEST(EventDetails, SayInOneLineWhatAnEventIs) {
    const bytes certificate = lab::self_signed(lab::authority("Platform Key", 1)).der;
    const struct {
        std::uint32_t type;
        bytes data;
        std::string says;
    } rows[] = {
        {3, spec_id("abc"), "log of profile 2.0 errata 105, banks sha1, sha256"},
        {3, byte_builder().text({"StartupLocality\0", 16}).u8(3).take(), "the TPM was started at locality 3"},
        {3, platform_identification(),
         "reference manifest ABABABAB-ABAB-ABAB-ABAB-ABABABABABAB, Maker, Model, V1, 2.0"},
        {8, utf16("2.3.5"), "firmware version 2.3.5"},
        {8, bytes(2), "firmware version empty"},
        {8, bytes(guid_size, 0xAB), "firmware version ABABABAB-ABAB-ABAB-ABAB-ABABABABABAB"},
        {1, text("ACPI DATA"), "firmware code: ACPI DATA"},
        {0x80000008, byte_builder().u64_le(0xFF000000).u64_le(0x7F0000).take(), "firmware at 0xff000000, 8128 KiB"},
        {0x8000000A, byte_builder().u8(4).text("Boot").u64_le(0x1000).u64_le(16).take(),
         "firmware 'Boot' at 0x1000, 16 bytes"},
        {0x80000009, byte_builder().u64_le(1).fill(guid_size, 0xAB).u64_le(0x7000).take(),
         "table ABABABAB-ABAB-ABAB-ABAB-ABABABABABAB at 0x7000"},
        {0x80000001, variable(global_vendor, "SecureBoot", bytes{1}), "SecureBoot: on"},
        {0x80000001, variable(global_vendor, "SetupMode", bytes{7}), "SetupMode: 1 byte 07"},
        {0x80000001, variable(global_vendor, "PK", signature_list_of(x509_type, {certificate})),
         "PK: 1 certificate ('Platform Key')"},
        {0x80000001,
         variable(database_vendor, "db",
                  joined(signature_list_of(x509_type, {certificate}),
                         signature_list_of(sha256_type, {bytes(32, 1), bytes(32, 2)}))),
         "db: 1 certificate ('Platform Key'), 2 hashes"},
        {0x80000001, variable(database_vendor, "dbx", {}), "dbx: empty"},
        {0x800000E0, variable(database_vendor, "db", joined(bytes(guid_size, 0x11), certificate)),
         "accepted by db: certificate 'Platform Key'"},
        {0x80000002, variable(global_vendor, "BootOrder", bytes{1, 0, 0, 0}), "BootOrder: 0001, 0000"},
        {0x80000002, variable(global_vendor, "Boot0001", load_option_of("debian", file_path("\\EFI\\a.efi"), {})),
         "Boot0001 'debian': \\EFI\\a.efi"},
        {0x80000002, variable(global_vendor, "Boot0001", bytes{1, 0, 0, 0}),
         "Boot0001: not decoded: its description or device path reaches past the end"},
        {0x80000003, image(file_path("\\EFI\\BOOT\\BOOTX64.EFI")),
         "boot application \\EFI\\BOOT\\BOOTX64.EFI, 20 KiB"},
        {0x80000004, image({}), "driver without a path, 20 KiB"},
        {4, bytes(4), "end of the firmware's events"},
        {4, bytes{1, 0, 0, 0}, "the firmware failed"},
        {4, text("WBCL"), "separator 'WBCL'"},
        {4, bytes(3, 9), "separator of no known value, 3 bytes 090909"},
        {0xD, text(std::string("grub_cmd: set pager=1\0", 22)), "boot loader runs: set pager=1"},
        {0xD, text("kernel_cmdline: /vmlinuz quiet"), "kernel command line: /vmlinuz quiet"},
        {0xD, utf16("console=ttyS0"), "kernel command line: console=ttyS0"},
        {0xD, text("(hd0,gpt1)/grub.cfg"), "boot loader reads (hd0,gpt1)/grub.cfg"},
        {0x80000007, text("Exit Boot Services Invocation"), "Exit Boot Services Invocation"},
        {0x80000007, text("a\x1B[31mb\nc"), "not decoded: it is no text; 9 bytes 611b5b33316d620a63"},
        {0xA, bytes(20, 0xEE), "platform configuration, 20 bytes eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee..."},
        {0xD, {}, "no data"},
        {0x12345, bytes{1}, "not decoded: its type is unknown; 1 byte 01"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(summary(row.type, row.data), row.says);
    }
}

TEST(EventDetails, ShowASealAndItsDisk) {
    lab::gpt_measurement gpt;
    gpt.table.entries.resize(2);
    const lab::log_event table = build(gpt);
    const lab::log_event seal = build(lab::seal_measurement());
    EXPECT_EQ(summary(seal.type, seal.data),
              "KvrSeal: seal configuration 00000000000000000000, seal log "
              "00000000000000000000000000000000...");
    const nlohmann::ordered_json tree = details_json(decode_event(event_of(table.type, table.data)), {});
    EXPECT_EQ(tree["kind"], "gpt");
    ASSERT_EQ(tree["partitions"].size(), 2U);
    EXPECT_EQ(tree["partitions"][0]["first_lba"], gpt.table.entries[0].first_lba);
}

// Of every layout that has parts behind each other.
TEST(EventDetails, WhatIsCutOrChangedIsDecodedOrSaysWhyNot) {
    const bytes certificate = lab::self_signed(lab::authority("Platform Key", 1)).der;
    lab::gpt_measurement table;
    table.table.entries.resize(1);
    const lab::log_event gpt = build(table);
    const lab::log_event seal = build(lab::seal_measurement());
    const struct {
        std::uint32_t type;
        bytes data;
    } rows[] = {
        {3, spec_id("abc")},
        {3, platform_identification()},
        {0x8000000A, byte_builder().u8(4).text("Boot").u64_le(0x1000).u64_le(16).take()},
        {0x8000000B, byte_builder().u8(1).u8('T').u64_le(1).fill(guid_size, 0xAB).u64_le(0x7000).take()},
        {0x80000001, variable(database_vendor, "db", signature_list_of(sha256_type, {bytes(32, 1), bytes(32, 2)}))},
        {0x80000002, variable(global_vendor, "Boot0001", load_option_of("debian", file_path("\\a"), bytes(3)))},
        {0x80000003, image(file_path("\\a"))},
        {gpt.type, gpt.data},
        {seal.type, seal.data},
    };
    for (const auto& row : rows) {
        ASSERT_FALSE(std::holds_alternative<not_decoded>(decode_event(event_of(row.type, row.data)))) << row.type;
        std::size_t refused = 0;
        const auto check = [&](const bytes& damaged) {
            const logged_event event = event_of(row.type, damaged);
            const event_details details = decode_event(event);
            EXPECT_NE(summary_of(event, details), "");
            EXPECT_FALSE(details_json(details, hash_lists::listed).dump().empty());
            refused += std::holds_alternative<not_decoded>(details) ? 1 : 0;
        };
        test::for_each_prefix(row.data, check);
        EXPECT_GT(refused, 0U) << row.type;
        test::for_each_byte_change(row.data, check);
    }
    EXPECT_EQ(summary(0x80000001, variable(database_vendor, "db", joined(certificate, bytes(1)))).find("not decoded"),
              std::string("db: ").size());
}

TEST(EventDetails, CountsThatNoDataHoldAreRefused) {
    constexpr std::uint64_t huge = UINT64_MAX;
    const bytes tables = byte_builder().u64_le(huge / 24 + 2).fill(48).take();
    const bytes name = byte_builder().bytes(global_vendor).u64_le(huge / 2 + 2).u64_le(1).fill(8).take();
    const bytes value = byte_builder().bytes(global_vendor).u64_le(1).u64_le(huge).fill(8).take();
    const bytes path = byte_builder().fill(24).u64_le(huge).fill(8).take();
    EXPECT_TRUE(summary(0x80000009, tables).starts_with("not decoded: its tables do not fill it"));
    EXPECT_TRUE(summary(0x80000001, name).starts_with("not decoded: its name reaches past the end"));
    EXPECT_TRUE(summary(0x80000001, value).starts_with("not decoded: its value reaches past the end"));
    EXPECT_TRUE(summary(0x80000003, path).starts_with("not decoded: its device path reaches past the end"));
}

}  // namespace
}  // namespace vellum
