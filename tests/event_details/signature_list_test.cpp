// Signature databases, and what the certificates in them say of themselves.
#include <gtest/gtest.h>

#include "lab/byte_builder.h"
#include "lab/certificate_authority.h"
#include "tests/support/tamper.h"
#include "tpm/event_details/guid_literal.h"
#include "tpm/event_details/signature_list.h"

namespace vellum {
namespace {

using lab::byte_builder;
using test::bytes;

constexpr auto sha256_type = guid_literal("C1C41626-504C-4092-ACA9-41F936934328");

struct list_plan {
    std::uint32_t header_size = 0;
    std::uint32_t entry_size = 48;
    std::size_t count = 2;
    std::optional<std::uint32_t> size;  // of the list, as claimed
};

bytes list_of(const list_plan& plan) {
    const auto size = static_cast<std::uint32_t>(28 + plan.header_size + plan.count * plan.entry_size);
    byte_builder list;
    list.bytes(sha256_type).u32_le(plan.size.value_or(size)).u32_le(plan.header_size).u32_le(plan.entry_size);
    list.fill(plan.header_size, 0xEE);
    for (std::size_t i = 0; i < plan.count; ++i) {
        list.fill(plan.entry_size, static_cast<std::uint8_t>(i + 1));
    }
    return list.take();
}

TEST(SignatureList, ListsStandOneAfterAnother) {
    const bytes two = byte_builder().bytes(list_of({3, 48, 2, {}})).bytes(list_of({0, 17, 1, {}})).take();
    std::vector<signature_list> lists;
    ASSERT_TRUE(decode_signature_lists(two, lists));
    ASSERT_EQ(lists.size(), 2U);
    EXPECT_STREQ(signature_type_name(lists[0].type), "SHA-256");
    EXPECT_EQ(lists[0].header.size(), 3U);
    ASSERT_EQ(lists[0].size(), 2U);
    EXPECT_EQ(lists[0].at(1).owner,
              (std::array<std::uint8_t, guid_size>{2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2}));
    EXPECT_EQ(lists[0].at(1).data.size(), 32U);
    EXPECT_TRUE(lists[0].at(2).data.empty());
    EXPECT_EQ(lists[1].at(0).data.size(), 1U);
}

TEST(SignatureList, SizesThatDoNotFitAreRefused) {
    const struct {
        const char* what;
        list_plan plan;
        bool fits;
    } rows[] = {
        {"no entries", {0, 48, 0, {}}, true},
        {"no entries, of no size", {0, 0, 0, {}}, true},
        {"entries of an owner alone", {0, 16, 3, {}}, true},
        {"entries smaller than an owner", {0, 15, 2, {}}, false},
        {"entries of no size in a list with room", {0, 0, 0, 28 + 1}, false},
        {"half an entry at its end", {0, 48, 2, 28 + 72}, false},
        {"smaller than its head", {0, 48, 2, 27}, false},
        {"larger than the data", {0, 48, 2, 28 + 3 * 48}, false},
        {"a size that would wrap", {0, 48, 2, 0xFFFFFFFF}, false},
        {"a header that is all", {48, 48, 0, {}}, true},
    };
    for (const auto& row : rows) {
        std::vector<signature_list> lists;
        EXPECT_EQ(decode_signature_lists(list_of(row.plan), lists), row.fits) << row.what;
    }
    const bytes whole = list_of({2, 48, 2, {}});
    test::for_each_prefix(whole, [](const bytes& cut) {
        std::vector<signature_list> lists;
        EXPECT_EQ(decode_signature_lists(cut, lists), cut.empty());
    });
    test::for_each_byte_change(whole, [](const bytes& changed) {
        std::vector<signature_list> lists;
        static_cast<void>(decode_signature_lists(changed, lists));
        for (const signature_list& list : lists) {
            EXPECT_LE(list.size() * list.entry_size, changed.size());
        }
    });
}

TEST(Certificate, SaysWhoseItIs) {
    const bytes der = lab::self_signed(lab::authority("Platform, Key \u00E9", 1)).der;
    const auto facts = certificate_facts_of(der);
    ASSERT_TRUE(facts);
    EXPECT_EQ(short_name(*facts), "Platform, Key \u00E9");
    EXPECT_EQ(facts->subject, "CN=\"Platform, Key \u00E9\"");
    EXPECT_EQ(facts->issuer, facts->subject);
    EXPECT_EQ(facts->sha256.size(), 64U);
    EXPECT_EQ(facts->serial, "01");
    EXPECT_EQ(facts->not_before, "2020-01-01");
    EXPECT_EQ(facts->not_after, "2099-12-31");
    EXPECT_EQ(short_name({"O=Maker, OU=Boot", "", "", "", "", ""}), "O=Maker, OU=Boot");
    EXPECT_EQ(short_name({"O=Maker, CN=Key + OU=Boot", "", "", "", "", ""}), "Key");
}

TEST(Certificate, OtherBytesAreNone) {
    const bytes der = lab::self_signed(lab::authority("Key", 1)).der;
    EXPECT_FALSE(certificate_facts_of({}));
    EXPECT_FALSE(certificate_facts_of(byte_builder().bytes(der).u8(0).take()));
    EXPECT_FALSE(certificate_facts_of(byte_builder().bytes(der).fill(65536).take()));
    test::for_each_prefix(der, [](const bytes& cut) { EXPECT_FALSE(certificate_facts_of(cut)); });
    std::size_t read = 0;
    test::for_each_byte_change(der, [&](const bytes& changed) { read += certificate_facts_of(changed) ? 1 : 0; });
    EXPECT_GT(read, 0U);  // a changed key or signature is still a certificate
}

}  // namespace
}  // namespace vellum
