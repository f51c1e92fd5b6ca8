#include "fuzz/event_seeds.h"

#include <string_view>

#include "lab/byte_builder.h"
#include "lab/certificate_authority.h"
#include "lab/pcr5_builder.h"
#include "lab/sample_boot.h"
#include "tpm/event_details/guid_literal.h"

namespace vellum::fuzz {
namespace {

using bytes = std::vector<std::uint8_t>;
using guid = std::array<std::uint8_t, guid_size>;
using lab::byte_builder;

constexpr guid global_variables = guid_literal("8BE4DF61-93CA-11D2-AA0D-00E098032B8C");
constexpr guid security_database = guid_literal("D719B2CB-3D3A-4596-A3BC-DAD00E67656F");
constexpr guid x509_list = guid_literal("A5C059A1-94E4-4AA7-87B5-AB155C2BF072");
constexpr guid sha256_list = guid_literal("C1C41626-504C-4092-ACA9-41F936934328");

lab::log_event event_of(std::uint32_t pcr, std::uint32_t type, bytes data) {
    lab::log_event event;
    event.pcr = pcr;
    event.type = type;
    event.data = std::move(data);
    return event;
}

bytes variable(const guid& vendor, std::string_view name, byte_view value) {
    return byte_builder().bytes(vendor).u64_le(name.size()).u64_le(value.size()).utf16(name).bytes(value).take();
}

void append_list(byte_builder& out, const guid& type, byte_view entry, std::uint32_t count) {
    const auto entry_size = static_cast<std::uint32_t>(guid_size + entry.size());
    out.bytes(type).u32_le(28 + count * entry_size).u32_le(0).u32_le(entry_size);
    for (std::uint32_t i = 0; i < count; ++i) {
        out.fill(guid_size, 0x11).bytes(entry);
    }
}

void append_node(byte_builder& out, std::uint8_t type, std::uint8_t subtype, byte_view data) {
    out.u8(type).u8(subtype).u16_le(static_cast<std::uint16_t>(4 + data.size())).bytes(data);
}

// A path with a node of every kind. Their data hold zeros where nothing else matters: enough for the longest.
bytes path_of_all_nodes() {
    constexpr std::uint8_t subtypes[] = {0, 6, 4, 34, 9, 1};  // the last of each type
    constexpr std::size_t longest_node = 64;
    byte_builder path;
    for (std::uint8_t type = 1; type < std::size(subtypes); ++type) {
        for (std::uint8_t subtype = 1; subtype <= subtypes[type]; ++subtype) {
            append_node(path, type, subtype, byte_builder().fill(16, subtype).fill(longest_node - 16).take());
        }
    }
    append_node(path, 0x7F, 0x01, {});
    append_node(path, 1, 1, bytes{0, 3});
    append_node(path, 4, 4, byte_builder().utf16("\\EFI\\A.EFI").u16_le(0).take());
    append_node(path, 0x7F, 0xFF, {});
    return path.take();
}

bytes image(byte_view path) {
    return byte_builder().u64_le(0x7E000000).u64_le(0x5000).u64_le(0x10000).u64_le(path.size()).bytes(path).take();
}

bytes load_option(byte_view path) {
    byte_builder option;
    option.u32_le(1).u16_le(static_cast<std::uint16_t>(path.size())).utf16("system").u16_le(0);
    return option.bytes(path).fill(3, 7).take();
}

bytes tag(std::uint32_t id, byte_view value) {
    return byte_builder().u32_le(id).u32_le(static_cast<std::uint32_t>(value.size())).bytes(value).take();
}

// A module in a boundary, beside a flag, a number and a revocation list.
bytes tagged() {
    byte_builder module;
    module.bytes(tag(0x00070001, byte_builder().utf16("\\a.sys").u16_le(0).take()));
    module.bytes(tag(0x00070002, byte_builder().u64_le(4096).take())).bytes(tag(0x00070004, bytes(32, 0xAA)));
    byte_builder boundary;
    boundary.bytes(tag(0x00050002, bytes{1})).bytes(tag(0x00020005, bytes{4, 0, 0, 0}));
    boundary.bytes(tag(0x00040002, byte_builder().u64_le(0x01D3737000000000).u32_le(2).u16_le(11).fill(2).take()));
    return tag(0x40010001, boundary.bytes(tag(0x40010003, module.take())).take());
}

bytes platform_identification() {
    byte_builder out;
    out.text("SP800-155 Event2").u32_le(343).fill(guid_size, 0xAB);
    for (const std::string_view value : {"Maker", "Model", "V1", "Firm"}) {
        out.u8(static_cast<std::uint8_t>(value.size() + 1)).text(value).u8(0);
    }
    return out.u32_le(7).u8(4).text("2.0").u8(0).take();
}

bytes spec_id() {
    byte_builder out;
    out.text({"Spec ID Event03\0", 16}).u32_le(0).u8(0).u8(2).u8(0).u8(2).u32_le(1).u16_le(0x000B).u16_le(32);
    return out.u8(0).take();
}

bytes signature_database() {
    byte_builder database;
    append_list(database, x509_list, lab::self_signed(lab::authority("Platform Key", 1)).der, 1);
    append_list(database, sha256_list, bytes(32, 0xAB), 3);
    return database.take();
}

}  // namespace

std::vector<lab::log_event> event_seeds() {
    std::vector<lab::log_event> events = lab::clean_boot().events;
    const bytes path = path_of_all_nodes();
    lab::gpt_measurement table;
    table.table.entries.resize(2);
    events.push_back(build(table));
    events.push_back(build(lab::seal_measurement()));
    events.push_back(event_of(0, 3, spec_id()));
    events.push_back(event_of(0, 3, platform_identification()));
    events.push_back(event_of(7, 0x80000001, variable(security_database, "db", signature_database())));
    events.push_back(event_of(7, 0x800000E0, variable(security_database, "db", bytes(48, 0xAB))));
    events.push_back(event_of(1, 0x80000002, variable(global_variables, "Boot0001", load_option(path))));
    events.push_back(event_of(4, 0x80000003, image(path)));
    events.push_back(event_of(12, 6, tagged()));
    events.push_back(event_of(1, 0x80000009, byte_builder().u64_le(1).fill(guid_size, 0xAB).u64_le(0x7000).take()));
    events.push_back(
        event_of(1, 0x8000000B, byte_builder().u8(1).u8('T').u64_le(1).fill(guid_size, 0xAB).u64_le(1).take()));
    events.push_back(event_of(0, 0x8000000A, byte_builder().u8(1).u8('V').u64_le(0x1000).u64_le(16).take()));
    events.push_back(event_of(9, 13, byte_builder().text("kernel_cmdline: /vmlinuz").take()));
    events.push_back(event_of(9, 13, byte_builder().utf16("console=ttyS0").u16_le(0).take()));
    return events;
}

}  // namespace vellum::fuzz
