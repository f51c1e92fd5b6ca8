// What the digests of an event prove of its data.
#include <gtest/gtest.h>

#include "lab/byte_builder.h"
#include "lab/event_log_builder.h"
#include "tpm/event_details/digest_claim.h"

namespace vellum {
namespace {

using bytes = std::vector<std::uint8_t>;
using lab::byte_builder;

constexpr std::uint16_t banks[] = {lab::TPM_ALG_SHA1, lab::TPM_ALG_SHA256, lab::TPM_ALG_SHA384, lab::TPM_ALG_SHA512};

bytes digest_of(std::uint16_t algorithm, byte_view data) {
    auto hash = hasher::of_bank(algorithm);
    bytes out(hash->size());
    EXPECT_EQ(hash->hash({data}, out), result::success);
    return out;
}

// An event that owns what it views: its digests are of `hashed` in every bank.
struct owned_event {
    owned_event(std::uint32_t type, bytes data_bytes, byte_view hashed) : data(std::move(data_bytes)) {
        event.type = type;
        event.data = data;
        for (const std::uint16_t algorithm : banks) {
            digests.push_back(digest_of(algorithm, hashed));
        }
        for (std::size_t i = 0; i < digests.size(); ++i) {
            event.digests[event.digest_count++] = {banks[i], digests[i]};
        }
    }

    digest_claim claim() { return claim_checker().check(event, decode_event(event)); }

    bytes data;
    std::vector<bytes> digests;
    logged_event event;
};

bytes text(std::string_view value) {
    return byte_builder().text(value).take();
}

bytes variable(std::string_view value) {
    return byte_builder().fill(16, 7).u64_le(1).u64_le(value.size()).utf16("N").text(value).take();
}

TEST(DigestClaim, SaysWhatWasHashed) {
    const bytes command = text(std::string("grub_cmd: set a=b\0", 18));
    const bytes image = byte_builder().u64_le(1).u64_le(2).u64_le(3).u64_le(0).take();
    const struct {
        std::uint32_t type;
        bytes data;
        bytes hashed;
        digest_proof proof;
        std::string what;
        const char* well_known;
    } rows[] = {
        {0x80000001, variable("value"), variable("value"), digest_proof::proved, "the data", nullptr},
        {0x80000002, variable("value"), text("value"), digest_proof::proved, "the variable's value", nullptr},
        {0x80000002, variable("value"), text("other"), digest_proof::contradicted, "the variable", nullptr},
        {0xD, command, text("set a=b"), digest_proof::proved, "the text", nullptr},
        {0xD, command, text(std::string("set a=b\0", 8)), digest_proof::proved, "the text", nullptr},
        {0xD, command, text("set a=c"), digest_proof::contradicted, "the command", nullptr},
        {0xD, text("(hd0)/file"), text("its content"), digest_proof::claimed, "the file", nullptr},
        {0x80000003, image, text("its content"), digest_proof::claimed, "the image", nullptr},
        {0x80000008, bytes(16), {}, digest_proof::claimed, "the firmware at this place", "no bytes at all"},
        {4, bytes(4), bytes(4), digest_proof::proved, "the data", "four zero bytes"},
        {4, bytes(4), text("x"), digest_proof::contradicted, "the separator's value", nullptr},
        {3, text("note"), text("note"), digest_proof::unextended, "nothing", nullptr},
    };
    for (const auto& row : rows) {
        const digest_claim found = owned_event(row.type, row.data, row.hashed).claim();
        EXPECT_EQ(found.proof, row.proof) << row.what;
        EXPECT_EQ(found.hashed, row.what);
        EXPECT_STREQ(found.well_known, row.well_known) << row.what;
    }
}

TEST(DigestClaim, EveryBankHasToAgree) {
    owned_event event(0xD, text("(hd0)/file"), text("(hd0)/file"));
    ASSERT_EQ(event.claim().proof, digest_proof::proved);
    std::fill(event.digests[1].begin(), event.digests[1].end(), std::uint8_t{0});
    EXPECT_EQ(event.claim().proof, digest_proof::proved) << "a bank that was not extended says nothing";
    event.digests[1][0] = 1;
    EXPECT_EQ(event.claim().proof, digest_proof::contradicted);
    event.event.digests[1].algorithm = 0x1234;
    EXPECT_EQ(event.claim().proof, digest_proof::proved) << "a bank that cannot be checked says nothing";
}

}  // namespace
}  // namespace vellum
