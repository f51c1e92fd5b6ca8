// What is said of a changed event, field by field.
#include "tpm/event_details/event_changes.h"

#include <gtest/gtest.h>

#include "lab/certificate_authority.h"
#include "lab/gpt_builder.h"
#include "tests/event_details/boot_events.h"

namespace vellum {
namespace {

using lab::byte_builder;
using lab::log_event;
using test::event_bytes;

event_change change_between(const test::read_log_of& reference, const test::read_log_of& live) {
    claim_checker claims;
    return compare_event(reference.events.events.back(), live.events.events.back(), claims);
}

// Every sentence, joined by " | ".
std::string says(const log_event& reference, const log_event& live) {
    const test::read_log_of before(test::log_of({reference}));
    const test::read_log_of after(test::log_of({live}));
    std::string out;
    for (const field_change& field : change_between(before, after).fields) {
        out += (out.empty() ? "" : " | ") + field.says;
    }
    return out;
}

log_event command(std::string_view text) {
    return lab::text_event(9, test::EV_IPL, text);
}

log_event version(std::string_view text) {
    return test::event_of(0, test::EV_S_CRTM_VERSION, byte_builder().utf16(text).u16_le(0).take());
}

log_event blob(std::uint64_t base, std::uint64_t length, std::uint8_t seed) {
    return test::measured(
        test::event_of(0, test::EV_EFI_PLATFORM_FIRMWARE_BLOB, byte_builder().u64_le(base).u64_le(length).take()),
        seed);
}

// Tables by the GUIDs of ACPI 2.0 and SMBIOS.
log_event tables(std::initializer_list<bool> acpi, std::uint64_t address) {
    constexpr test::vendor_guid acpi_20 = {0x71, 0xE8, 0x68, 0x88, 0xF1, 0xE4, 0xD3, 0x11,
                                           0xBC, 0x22, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81};
    constexpr test::vendor_guid smbios = {0x31, 0x2D, 0x9D, 0xEB, 0x88, 0x2D, 0xD3, 0x11,
                                          0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D};
    byte_builder data;
    data.u64_le(acpi.size());
    for (const bool is_acpi : acpi) {
        data.bytes(is_acpi ? acpi_20 : smbios).u64_le(is_acpi ? address : 0xF0000);
    }
    return test::measured(test::event_of(1, test::EV_EFI_HANDOFF_TABLES, data.take()), 7);
}

TEST(EventChanges, AreSaidFieldByField) {
    const struct {
        const char* name;
        log_event reference;
        log_event live;
        const char* says;
    } rows[] = {
        {"BootOrder", test::boot_variable(1, "BootOrder", {1, 0, 0, 0}),
         test::boot_variable(1, "BootOrder", {0, 0, 1, 0}), "BootOrder: 0001,0000 -> 0000,0001"},
        {"Switch", test::boot_variable(7, "SecureBoot", {1}), test::boot_variable(7, "SecureBoot", {0}),
         "SecureBoot: on -> off"},
        {"Emptied", test::boot_variable(1, "BootOrder", {1, 0}), test::boot_variable(1, "BootOrder", {}),
         "BootOrder: 0001 -> nothing"},
        {"Bytes", test::boot_variable(1, "Setup", {1, 2, 3}), test::boot_variable(1, "Setup", {1, 9, 3}),
         "Setup: 010203 -> 010903"},
        {"ManyBytes", test::boot_variable(1, "Setup", event_bytes(301, 1)),
         test::boot_variable(1, "Setup", byte_builder().fill(200, 1).fill(301, 2).take()),
         "Setup: 301 bytes -> 501 bytes, from byte 200 on 0101010101010101... -> 0202020202020202..."},
        {"Version", version("1.4.2"), version("1.5.0"), "firmware version: 1.4.2 -> 1.5.0"},
        {"WordAdded", command("kernel_cmdline: /vmlinuz ro"), command("kernel_cmdline: /vmlinuz ro quiet"),
         "kernel command line: 'quiet' added"},
        {"WordsOfALine", command("kernel_cmdline: /vmlinuz a=1 ro quiet x"),
         command("kernel_cmdline: /vmlinuz a=2 ro debug 1 x"),
         "kernel command line: 'a=1 quiet' removed, 'a=2 debug 1' added"},
        {"OneWord", command("kernel_cmdline: /vmlinuz-6.1 ro"), command("kernel_cmdline: /vmlinuz-6.2 ro"),
         "kernel command line: '/vmlinuz-6.1' -> '/vmlinuz-6.2'"},
        {"OrderOfWords", command("kernel_cmdline: /vmlinuz a b"), command("kernel_cmdline: /vmlinuz b a"),
         "kernel command line: /vmlinuz a b -> /vmlinuz b a"},
        {"ImageOnly", test::loaded_image(4, "\\A.EFI", 1), test::loaded_image(4, "\\A.EFI", 2),
         "the image changed, and the log does not show how"},
        {"ImageElsewhere", test::loaded_image(4, "\\A.EFI", 1, 0x1000), test::loaded_image(4, "\\A.EFI", 2, 0x2000),
         "the image changed, and the log does not show how | loaded to: 0x1000 -> 0x2000"},
        {"AnotherImage", test::loaded_image(4, "\\A.EFI", 1), test::loaded_image(4, "\\B.EFI", 2),
         "file: \\A.EFI -> \\B.EFI | the image changed, and the log does not show how"},
        {"Firmware", blob(0xFF000000, 4096, 1), blob(0xFF000000, 4096, 2),
         "the firmware at this place changed, and the log does not show how"},
        {"Tables", tables({true}, 0x1000), tables({false, true}, 0x2000),
         "table SMBIOS at 0xf0000 added | table ACPI 2.0: address: 0x1000 -> 0x2000"},
        {"TablesTurned", tables({true, false}, 0x1000), tables({false, true}, 0x1000),
         "tables: the same in another order"},
        {"Contradiction", test::measured(test::boot_variable(1, "BootOrder", {1, 0}), 1),
         test::measured(test::boot_variable(1, "BootOrder", {1, 0}), 2),
         "the digest is not that of the variable: the log contradicts itself"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(says(row.reference, row.live), row.says) << row.name;
    }
}

// A list of hashes and one of certificates.
event_bytes database(std::initializer_list<std::uint8_t> hashes, std::initializer_list<const char*> certificates) {
    constexpr test::vendor_guid sha256_list = {0x26, 0x16, 0xC4, 0xC1, 0x4C, 0x50, 0x92, 0x40,
                                               0xAC, 0xA9, 0x41, 0xF9, 0x36, 0x93, 0x43, 0x28};
    constexpr test::vendor_guid x509_list = {0xA1, 0x59, 0xC0, 0xA5, 0xE4, 0x94, 0xA7, 0x4A,
                                             0x87, 0xB5, 0xAB, 0x15, 0x5C, 0x2B, 0xF0, 0x72};
    byte_builder data;
    const auto head = [&](const test::vendor_guid& type, std::size_t count, std::size_t size) {
        data.bytes(type).u32_le(static_cast<std::uint32_t>(28 + count * (16 + size))).u32_le(0);
        data.u32_le(static_cast<std::uint32_t>(16 + size));
    };
    head(sha256_list, hashes.size(), 32);
    for (const std::uint8_t hash : hashes) {
        data.fill(16, 0x11).fill(32, hash);
    }
    for (const char* name : certificates) {
        const auto certificate = lab::self_signed(lab::authority(name, 0));
        head(x509_list, 1, certificate.der.size());
        data.fill(16, 0x11).bytes(certificate.der);
    }
    return data.take();
}

TEST(EventChanges, OfSignatureDatabasesNameTheirEntries) {
    const auto db = [](const event_bytes& value) { return test::boot_variable(7, "dbx", value); };
    EXPECT_EQ(says(db(database({1, 2}, {})), db(database({3, 2, 4, 1}, {}))), "dbx: 2 hashes added");
    EXPECT_EQ(says(db(database({1, 2}, {})), db(database({2}, {}))), "dbx: hash 0101010101010101... removed");
    EXPECT_EQ(says(db(database({1, 2}, {})), db(database({2, 1}, {}))), "dbx: the same entries in another order");
    const std::string changed =
        says(db(database({}, {"Old CA", "Kept CA"})), db(database({5}, {"Kept CA", "New CA"})));
    EXPECT_NE(changed.find("dbx: certificate 'New CA' (sha256 "), std::string::npos) << changed;
    EXPECT_NE(changed.find("...) added | dbx: certificate 'Old CA' (sha256 "), std::string::npos) << changed;
    EXPECT_NE(changed.find("...) removed | dbx: hash 0505050505050505... added"), std::string::npos) << changed;
    EXPECT_EQ(changed.find("Kept CA"), std::string::npos) << changed;
}

lab::gpt_entry partition(std::uint8_t number, const char16_t* name, std::uint64_t first) {
    lab::gpt_entry entry;
    entry.own_guid.fill(number);
    entry.name = name;
    entry.first_lba = first;
    entry.last_lba = first + 2047;
    return entry;
}

TEST(EventChanges, OfPartitionsGoByTheirGuids) {
    const auto disk = [](std::vector<lab::gpt_entry> entries) {
        lab::gpt_table table;
        table.entries = std::move(entries);
        return test::event_of(5, test::EV_EFI_GPT, lab::build_gpt_event(table));
    };
    const auto boot = partition(1, u"Boot", 2048);
    const auto data = partition(2, u"Data", 4096);
    auto named = data;
    named.name = u"Files";
    EXPECT_EQ(says(disk({boot, data}), disk({boot, partition(2, u"Data", 8192)})),
              "partition 2 'Data' moved from 4096-6143 to 8192-10239");
    EXPECT_EQ(says(disk({boot, data}), disk({data})), "partition 1 'Boot' at 2048-4095 removed");
    EXPECT_EQ(says(disk({data}), disk({boot, named})),
              "partition 1 'Boot' at 2048-4095 added | partition 2 'Files': name: Data -> Files");
    EXPECT_EQ(says(disk({boot, data}), disk({data, boot})), "partitions: the same in another order");
}

// Nothing that a log says may steer a terminal, and equal events have no changes.
TEST(EventChanges, AreCleanAndOnlyWhereSomethingDiffers) {
    const auto evil = [](const char* word) { return command(std::string("kernel_cmdline: ro \x1b[31m") + word); };
    EXPECT_EQ(says(evil("a"), evil("a")), "");
    const std::string changed =
        says(test::boot_variable(1, "X\x1b", {1, 1}), test::boot_variable(1, "X\x1b", {2, 2}));
    EXPECT_EQ(changed, "X?: 0101 -> 0202");
    const auto places = [](std::uint64_t location) { return test::loaded_image(4, "\\A.EFI", 1, location); };
    const test::read_log_of before(test::log_of({places(1)}));
    const test::read_log_of after(test::log_of({places(2)}));
    EXPECT_TRUE(change_between(before, after).only_places);
    EXPECT_FALSE(change_between(before, before).only_places);
}

}  // namespace
}  // namespace vellum
