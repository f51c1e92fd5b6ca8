#include "pmf/signature.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "base/text.h"
#include "core/digest.h"
#include "core/findings.h"
#include "lab/certificate_authority.h"
#include "lab/pmf_builder.h"
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

using lab::key_kind;

EVP_PKEY* key(unsigned number) {
    return lab::private_key(key_kind::rsa_2048, number);
}

rsa_key public_key(EVP_PKEY* pair) {
    rsa_key decoded;
    EXPECT_EQ(decode_public_key(lab::public_key_der(pair), decoded), result::success);
    return decoded;
}

// A signed PMF with two trailing bytes of this value.
lab::pmf signed_pmf(std::uint8_t trailing = 0) {
    lab::pmf file;
    file.trailing = std::vector<std::uint8_t>{};
    while ((build(file).size() + 2) % 4 != 0) {
        file.certificate.content.push_back(0xAA);
    }
    file.trailing = std::vector<std::uint8_t>(2, trailing);
    EXPECT_TRUE(sign(file, key(1)));
    return file;
}

// Whether the bytes parse and carry a valid signature. What parses is put through the other readers too.
bool accepted(byte_view bytes) {
    std::optional<PmfDocument> document;
    pmf_pcr_set pcrs;
    bool verified = false;
    if (ok(parse_pmf(bytes, document))) {
        EXPECT_EQ(read_pmf_pcrs(*document, pcrs), result::success);
        std::ignore = run_strict_rules(*document);
        EXPECT_TRUE(ok(verify_pmf_signature(*document, verified)) || !verified);
    }
    clear_messages();
    return verified;
}

TEST(PmfSignature, CoversTheTrailingBytesByTheirCountOnly) {
    test::log_session session(log_level::off);
    lab::pmf file = signed_pmf(0x12);
    EXPECT_TRUE(accepted(build(file)));
    file.trailing = std::vector<std::uint8_t>{0xFF, 0x00};
    EXPECT_TRUE(accepted(build(file)));

    std::optional<PmfDocument> document;
    ASSERT_EQ(parse_pmf(build(file), document), result::success);
    const auto verified = [&document] {
        bool valid = false;
        EXPECT_EQ(verify_pmf_signature(*document, valid), result::success);
        return valid;
    };
    EXPECT_EQ(document->trailing_bytes, 2);
    document->extensions.push_back({0x7777, 0, {0x77, 0x77, 0, 0, 0, 0, 0, 0, 1, 2}});  // a length word of zero
    EXPECT_TRUE(verified());
    document->extensions.back().length = 10;
    EXPECT_FALSE(verified());
    document->extensions.pop_back();
    document->trailing_bytes = 1;
    EXPECT_FALSE(verified());
}

TEST(PmfSignature, ReportsEveryChangedByteButTheTrailingOnes) {
    test::log_session session(log_level::off);
    const test::bytes original = build(signed_pmf());
    ASSERT_TRUE(accepted(original));
    const std::size_t first_uncovered = original.size() - 2;
    test::for_each_byte_change(original, [&](const test::bytes& changed) {
        const auto differs = std::mismatch(original.begin(), original.end(), changed.begin()).first;
        const auto at = static_cast<std::size_t>(differs - original.begin());
        ASSERT_EQ(accepted(changed), at >= first_uncovered) << "byte " << at;
    });
}

TEST(PmfSignature, RefusesAKeyThatIsStoredOrMadeWrongly) {
    test::log_session session(log_level::error);
    struct row {
        const char* name;
        void (*change)(PMF::ManifestHeader&);
        result outcome;
        const char* logged;
    };
    const row rows[] = {
        {"BigEndianModulus", [](auto& header) { std::reverse(header.modulus.begin(), header.modulus.end()); },
         result::success, ""},
        {"BigEndianSignature", [](auto& header) { std::reverse(header.signature.begin(), header.signature.end()); },
         result::success, ""},
        {"ModulusBeyondItsField", [](auto& header) { header.modulus_size = 65; }, result::io_failure,
         "ERROR: BN_lebin2bn() failed.\n"},
        {"ExponentOne", [](auto& header) { header.exponent[2] = 0; }, result::io_failure,
         "ERROR: Error validating RSA public key. Public key doesn't have valid public exponent.\n"},
        {"EvenExponent", [](auto& header) { header.exponent[0] = 2; }, result::io_failure,
         "ERROR: Error validating RSA public key. Public key doesn't have valid public exponent.\n"},
    };
    for (const row& row : rows) {
        SCOPED_TRACE(row.name);
        std::optional<PmfDocument> document;
        ASSERT_EQ(parse_pmf(build(signed_pmf()), document), result::success);
        // A modulus that begins and ends in a full byte has 2048 bits in both orders.
        document->header.modulus.front() |= 0x80;
        row.change(document->header);
        bool verified = true;
        EXPECT_EQ(verify_pmf_signature(*document, verified), row.outcome);
        EXPECT_FALSE(verified);
        EXPECT_EQ(session.logged(), row.logged);
    }
}

TEST(PublicKey, Has2048Bits) {
    test::log_session session;
    EXPECT_EQ(check_rsa_public_key(*public_key(key(1))), result::success);
    EXPECT_EQ(session.logged(), "");
    EXPECT_EQ(check_rsa_public_key(*public_key(lab::private_key(key_kind::rsa_3072))), result::io_failure);
    EXPECT_EQ(session.logged(), "ERROR: Not supporting RSA key length: 3072. Provide 2048 key length.\n");
}

TEST(PublicKey, IsDecodedFromExactlyItsBytes) {
    test::log_session session(log_level::error);
    const char* const refused = "ERROR: Cannot encode public key.\n";
    const test::bytes der = lab::public_key_der(key(1));
    rsa_key decoded;
    const auto refuses = [&](byte_view bytes) {
        return decode_public_key(bytes, decoded) == result::io_failure && !decoded && session.logged() == refused;
    };
    test::for_each_prefix(der, [&](const test::bytes& prefix) { ASSERT_TRUE(refuses(prefix)) << prefix.size(); });
    test::bytes longer = der;
    longer.push_back(0);
    EXPECT_TRUE(refuses(longer));
    EXPECT_TRUE(refuses(lab::public_key_der(lab::private_key(key_kind::ec_p256))));
    EXPECT_TRUE(refuses(lab::self_signed(lab::authority("Root", 1)).der));
    EXPECT_EQ(decode_public_key(der, decoded), result::success);
    EXPECT_EQ(RSA_size(decoded.get()), 256);
}

TEST(RsaSignature, IsValidForItsKeyAndDataOnly) {
    test::log_session session;
    const std::string_view data = "sealed";
    const test::bytes good = lab::sign_data(key(1), as_bytes(data));
    test::bytes longer = good;
    longer.push_back(0);
    const byte_view shorter = byte_view(good).first(255);
    const std::tuple<const char*, unsigned, byte_view, std::string_view, bool> rows[] = {
        {"Good", 1, good, data, true}, {"OtherData", 1, good, "sealeD", false}, {"OtherKey", 2, good, data, false},
        {"Empty", 1, {}, data, false}, {"Shorter", 1, shorter, data, false},    {"Longer", 1, longer, data, false},
    };
    for (const auto& [name, number, signature, signed_data, valid] : rows) {
        SCOPED_TRACE(name);
        bool verified = !valid;
        EXPECT_EQ(verify_rsa_signature(*public_key(key(number)), signature, as_bytes(signed_data), verified),
                  result::success);
        EXPECT_EQ(verified, valid);
    }
    bool verified = true;
    EXPECT_EQ(verify_rsa_signature(*public_key(lab::private_key(key_kind::rsa_3072)), good, {}, verified),
              result::internal_failure);
    EXPECT_FALSE(verified);
    EXPECT_EQ(session.logged(), "ERROR: No hash function was found for RSA key with size 384.\n");
}

TEST(KeyManifest, ComparesTheDigestOfEachKey) {
    test::log_session session(log_level::debug);
    const test::bytes der = lab::public_key_der(key(1));
    sha256_value hash{};
    ASSERT_EQ(sha256(der, hash), result::success);
    PMF::KeyManifestExtension manifest;
    manifest.algorithm = 2;
    manifest.count = 2;
    manifest.entries = {lab::key_entry(7, sha256_value{}), lab::key_entry(65535, hash)};
    manifest.entries[0].policy = 0xA1;
    manifest.entries[1].hash.back() = 1;  // behind the digest
    EXPECT_EQ(match_key_manifest(manifest, der), result::success);
    const std::string zeros(64, '0');
    const std::string text = lower_hex(hash);
    EXPECT_EQ(session.logged(),
              "Found PMF::KeyManifestExtension with hash algorithm SHA256(0x02) and following keys:\n"
              " 0) id: 7, policy: 0x00a1, hash: " +
                  zeros + "\n 1) id: 65535, policy: 0x0000, hash: " + text +
                  "\nMatching Seal Signing Key hash (SHA256): " + text +
                  "\nSeal Signing Key hash does not match with PMF::KeyManifestExtension key[0] with id 7\n"
                  "    Current (PMF): " +
                  zeros + "\n    Expected (Calculated): " + text +
                  "\nSeal Signing Key hash matches PMF::KeyManifestExtension key[1] with id 65535\n");
    manifest.entries[1].hash[31] ^= 1;
    EXPECT_EQ(match_key_manifest(manifest, der), result::check_failed);
    EXPECT_EQ(session.pushed(),
              "Seal Signing Key hash (SHA256) " + text + " is not present in PMF::KeyManifestExtension.\n");
    manifest.algorithm = 3;
    EXPECT_EQ(match_key_manifest(manifest, der), result::check_failed);
    EXPECT_EQ(
        session.pushed(),
        "Unsupported hash algorithm SHA384(0x03) associated with PMF::KeyManifestExtension. SHA256(0x02) is the "
        "only supported algorithm.\n");
}

}  // namespace
}  // namespace vellum
