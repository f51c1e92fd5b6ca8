// Tagged events: what each kind of value is read as, containers in containers, and damaged ones.
#include <gtest/gtest.h>

#include "base/text.h"
#include "lab/byte_builder.h"
#include "tests/support/tamper.h"
#include "tpm/event_details/tagged_event.h"

namespace vellum {
namespace {

using lab::byte_builder;
using test::bytes;

constexpr std::uint32_t trust_boundary = 0x40010001;
constexpr std::uint32_t loaded_module = 0x40010003;
constexpr std::uint32_t file_path = 0x00070001;

bytes tag(std::uint32_t id, byte_view value) {
    return byte_builder().u32_le(id).u32_le(static_cast<std::uint32_t>(value.size())).bytes(value).take();
}

bytes joined(std::initializer_list<bytes> parts) {
    byte_builder out;
    for (const bytes& part : parts) {
        out.bytes(part);
    }
    return out.take();
}

bytes utf16(std::string_view text) {
    return byte_builder().utf16(text).u16_le(0).take();
}

struct value_text {
    std::string operator()(byte_view data) const { return lower_hex(data); }
    std::string operator()(bool flag) const { return flag ? "true" : "false"; }
    std::string operator()(std::uint64_t number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const { return '"' + text + '"'; }
};

// "Name=value", "Name{part part}"; the identifier, hexadecimal, for one without a name.
std::string text_of(const tagged_value& value) {
    const std::string name = value.name[0] != '\0' ? value.name : upper_hex(little_endian_bytes(value.id));
    if (value.parts.empty()) {
        return name + '=' + std::visit(value_text(), value.value);
    }
    std::string parts;
    for (const tagged_value& part : value.parts) {
        parts += (parts.empty() ? "" : " ") + text_of(part);
    }
    return name + '{' + parts + '}';
}

// "Writer: value, value", or why it is not decoded.
std::string text_of(byte_view event) {
    const event_details details = decode_tagged_event(event);
    if (const auto* not_read = std::get_if<not_decoded>(&details)) {
        return not_read->why;
    }
    const auto& tagged = std::get<tagged_details>(details);
    std::string text = tagged.writer;
    for (const tagged_value& value : tagged.values) {
        text += (&value == &tagged.values.front() ? ": " : ", ") + text_of(value);
    }
    return text;
}

bytes revocation_list(std::uint64_t created) {
    return byte_builder().u64_le(created).u32_le(2).u16_le(11).u16_le(0xCDAB).take();
}

TEST(TaggedEvent, EachValueIsReadAsWhatItIs) {
    const struct {
        bytes event;
        const char* text;
    } rows[] = {
        {tag(0x8F3B22EC, byte_builder().text({"Linux initrd\0", 13}).take()), "Linux: initrd=\"Linux initrd\""},
        {tag(0x8F3B22ED, utf16("quiet splash")), "Linux: LoadOptions=\"quiet splash\""},
        {tag(0x8F3B22ED, bytes{1, 2}), "Linux: LoadOptions=0102"},
        {tag(0xF5BC582A, utf16("loader.conf")), "systemd: loader.conf=\"loader.conf\""},
        {tag(0x12345678, bytes{0xAB}), ": 78563412=ab"},
        {tag(0x00050002, bytes{1}), "Windows: CodeIntegrity=true"},
        {tag(0x00040001, bytes{0}), "Windows: BootDebugging=false"},
        {tag(0x00040001, bytes{2}), "Windows: BootDebugging=02"},
        {tag(0x00040001, bytes{1, 0, 0, 0}), "Windows: BootDebugging=01000000"},
        {tag(0x00020002, byte_builder().u64_le(UINT64_MAX).take()), "Windows: BootCounter=18446744073709551615"},
        {tag(0x00020005, byte_builder().u32_le(4).take()), "Windows: BitLockerUnlock=4"},
        {tag(0x00020005, bytes{1, 2, 3}), "Windows: BitLockerUnlock=010203"},
        {tag(file_path, utf16("\\Windows")), "Windows: FilePath=\"\\Windows\""},
        {tag(file_path, bytes{'a'}), "Windows: FilePath=61"},
        {tag(0x00040002, revocation_list(131'575'733'910'000'000)),
         "Windows: BootRevocationList{Created=\"2017-12-12T17:29:51Z\" HashAlgorithmID=11 Digest=abcd}"},
        {tag(0x00040002, revocation_list(1)),
         "Windows: BootRevocationList{Created=1 HashAlgorithmID=11 Digest=abcd}"},
        {tag(0x00040002, revocation_list(UINT64_MAX)),
         "Windows: BootRevocationList{Created=18446744073709551615 HashAlgorithmID=11 Digest=abcd}"},
        {tag(0x00040002, bytes{1, 2}), "Windows: BootRevocationList=0102"},
        {tag(0x0005000F, byte_builder().u64_le(3).u16_le(4).u16_le(11).u32_le(1).utf16("Po").u8(0xEE).take()),
         "Windows: SIPolicy{Version=3 Name=\"Po\" HashAlgorithmID=11 Digest=ee}"},
        {tag(0x00050029,
             byte_builder().u32_le(1).u32_le(20).u16_le(11).u16_le(1).u32_le(2).u32_le(3).u8(0xDD).take()),
         "Windows: SBCPInfo{Version=1 HashAlgorithmID=11 Options=2 SignersCount=3 Digest=dd}"},
        {joined({tag(0x00050003, bytes{0}), tag(0x00050006, bytes{1})}), "Windows: TestSigning=false, WinPE=true"},
        {tag(trust_boundary, joined({tag(0x00050002, bytes{1}), tag(loaded_module, tag(file_path, utf16("a.sys")))})),
         "Windows: TrustBoundary{CodeIntegrity=true LoadedModuleAggregation{FilePath=\"a.sys\"}}"},
        {tag(0x4001FFFF, tag(0x00050002, bytes{1})), ": FFFF0140{CodeIntegrity=true}"},
        {tag(loaded_module, bytes{1, 2, 3}), "Windows: LoadedModuleAggregation=010203"},
        {tag(loaded_module, {}), "Windows: LoadedModuleAggregation="},
        {{}, "its tagged values do not fill it"},
        {bytes(7), "its tagged values do not fill it"},
        {joined({tag(file_path, {}), bytes(3)}), "its tagged values do not fill it"},
        {byte_builder().u32_le(file_path).u32_le(0xFFFFFFFF).fill(8).take(), "its tagged values do not fill it"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(text_of(row.event), row.text);
    }
}

TEST(TaggedEvent, ContainersAreFollowedToADepth) {
    bytes event = tag(file_path, utf16("a"));
    for (int depth = 0; depth < 7; ++depth) {
        event = tag(trust_boundary, event);
    }
    EXPECT_NE(text_of(event).find("FilePath=\"a\""), std::string::npos);
    EXPECT_EQ(text_of(tag(trust_boundary, event)).find("FilePath"), std::string::npos);
}

TEST(TaggedEvent, ValuesAreFollowedToANumber) {
    byte_builder most;
    for (int i = 0; i < 4096; ++i) {
        most.bytes(tag(file_path, {}));
    }
    const bytes event = most.take();
    EXPECT_TRUE(text_of(event).starts_with("Windows: FilePath="));
    EXPECT_EQ(text_of(joined({event, tag(file_path, {})})), "it holds more tagged values than are followed");
    EXPECT_EQ(text_of(tag(trust_boundary, event)).find("FilePath"), std::string::npos);
}

TEST(TaggedEvent, DamageIsReadOrRefused) {
    const bytes event =
        tag(trust_boundary, joined({tag(0x00050002, bytes{1}), tag(0x00040002, revocation_list(1)),
                                    tag(loaded_module, joined({tag(file_path, utf16("\\a.sys")),
                                                               tag(0x00070002, byte_builder().u64_le(9).take())}))}));
    test::for_each_prefix(event,
                          [](const bytes& cut) { EXPECT_EQ(text_of(cut), "its tagged values do not fill it"); });
    test::for_each_byte_change(event, [&](const bytes& changed) { EXPECT_NE(text_of(changed), text_of(event)); });
}

}  // namespace
}  // namespace vellum
