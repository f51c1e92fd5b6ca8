#include "seal/seal_signature.h"

#include <openssl/rsa.h>

#include <memory>

#include "core/text.h"
#include "lab/pmf_builder.h"
#include "pmf/parser.h"
#include "tests/seal/history.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

constexpr std::uint32_t now = test::session_time;

using key_pair = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

key_pair make_key(int bits) {
    EVP_PKEY* key = nullptr;
    const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
        EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr), EVP_PKEY_CTX_free);
    EXPECT_EQ(EVP_PKEY_keygen_init(context.get()), 1);
    EXPECT_EQ(EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits), 1);
    EXPECT_EQ(EVP_PKEY_keygen(context.get(), &key), 1);
    return {key, EVP_PKEY_free};
}

EVP_PKEY* manufacturer_key() {
    static const key_pair key = make_key(2048);
    return key.get();
}

// A device sealed at TL1 with a listed key. What a case changes afterwards is not signed unless it signs again.
struct sealed_device {
    sealed_device() {
        data.timestamp = now;
        data.device_id_type = 1;
        data.device_id = {'S', 'N', '1'};
        sign();
        lab::pmf file;
        sha256_value hash{};
        EXPECT_EQ(sha256(signature.public_key, hash), result::success);
        file.keys.entries.push_back(lab::key_entry(7, hash));
        std::optional<PmfDocument> parsed;
        EXPECT_EQ(parse_pmf(build(file), parsed), result::success);
        pmf = std::move(parsed);
    }

    void sign(EVP_PKEY* key = manufacturer_key()) {
        EXPECT_TRUE(lab::sign_trusted_level_1(signature, build(data), key));
    }

    // Seals at TL3 and describes the seal in the identity file.
    void digest() {
        lab::sign_trusted_level_3(signature, build(data));
        identity = Tl3SealIdentity{"2023-11-14T22:13:20Z",   "SERIAL_NUMBER",           "SN1", "2",
                                   "SHA256-NULL-ENCRYPTION", lower_hex(signature.value)};
    }

    stage_outcome verify() const {
        lab::seal_log built;
        built.events = {lab::seal_enabled(now), lab::seal_configured(now, sealed_instance, build(data))};
        built.events.resize(configured ? 2 : 1);
        const seal_log log = test::read_log(built);
        test::bytes field = build(signature);
        field.resize(std::min(field.size(), field_size));
        return verify_seal_signature(
            {log, field, signing_enabled, identity ? &*identity : nullptr, pmf ? &*pmf : nullptr});
    }

    lab::seal_data data;
    lab::seal_signature signature;
    std::uint32_t sealed_instance = 2;
    bool configured = true;
    bool signing_enabled = true;
    std::size_t field_size = SIZE_MAX;
    std::optional<Tl3SealIdentity> identity;
    std::optional<PmfDocument> pmf;
};

struct failing_row {
    const char* name;
    void (*change)(sealed_device&);
    std::string said;  // what was logged as an error, then what was pushed
};

const std::string reserved = "Seal signature reserved bytes are not set to 0x00.\n";
const std::string bad_id_1 = "ERROR: Seal Signature TL1 verification failed, ODM KEY ID has improper value.\n";
const std::string bad_hash = "Seal Signature verification failed. Signature hash is invalid.\n";
const std::string bad_key = "ERROR: Seal Signature TL1 hash verification failed, public key conversion failed.\n";
const std::string bad_digest = "ERROR: Seal data signature TL3 is invalid. Signature digest does not match.\n";
const std::string other_type =
    "Device ID type from the Seal Log and TL3SealIdentityVerificationFile do not match:\n"
    "Skipping matching Device ID from the Seal Log and TL3SealIdentityVerificationFile due to not matching Device ID "
    "type.\n";

const failing_row common_rows[] = {
    {"NoSealConfigured", [](sealed_device& d) { d.configured = false; },
     "Missing Seal Configured Event Data in the Seal Log.\n"},
    {"SignedInstanceOne", [](sealed_device& d) { d.sealed_instance = 1; },
     "Seal signing enabled in the seal configuration but SealInstanceID is 1, expected >1.\n"},
    {"OtherInstance", [](sealed_device& d) { d.sealed_instance = 3; },
     "SealInstanceID from Seal Signature 2 and from Seal Config Event Data 3 do not match.\n"},
    {"UnsignedSealOfAnotherInstance", [](sealed_device& d) { d.signing_enabled = false; },
     "Seal signing is disabled but the SealInstanceID is 2, expected 1.\n"},
    {"CutSignature", [](sealed_device& d) { d.field_size = 547; },
     "Seal Signature is incomplete. Size of data: 547.\n"},
    {"EveryFormatFault",
     [](sealed_device& d) {
         d.data.marker = "KVR-SEAM", d.data.version_minor = 2;
         d.signature.version_minor = 1, d.signature.version_reserved[1] = 1;
     },
     "Unrecognized Seal Data marker. Actual: KVR-SEAM. Expected: KVR-SEAL.\n"
     "Unrecognized Seal Data version. Actual: 1.2. Expected: 1.1.\n"
     "Unrecognized Seal Signature version. Actual: 1.1. Expected: 1.0.\n" +
         reserved},
    {"OtherAlgorithm", [](sealed_device& d) { d.signature.algorithm = 0x12; },
     "Unrecognized Seal Signature algorithm in Seal Data: 0x12\n"},
};

const failing_row level_1_rows[] = {
    {"NoKeyId", [](sealed_device& d) { d.signature.odm_key_id = 65535, d.sign(); }, bad_id_1},
    {"KeyIdIsReadWithReservedBytes", [](sealed_device& d) { d.signature.key_reserved[1] = 1; }, bad_id_1 + reserved},
    {"OtherSealData", [](sealed_device& d) { d.data.pmf_hash[47] ^= 1; }, bad_hash},
    {"OtherSignature", [](sealed_device& d) { d.signature.value[255] ^= 1; }, bad_hash},
    {"LargerThanItsField", [](sealed_device& d) { d.signature.size = 553; },
     "Seal Signature has invalid size. Actual: 553. Maximum: 552.\n"},
    {"NoKey", [](sealed_device& d) { d.signature.public_key_length = 0; }, bad_key},
    {"KeyLargerThanItsField", [](sealed_device& d) { d.signature.public_key_length = 513; }, bad_key},
    {"BrokenKey", [](sealed_device& d) { d.signature.public_key[0] ^= 1; },
     "ERROR: Cannot encode public key.\n" + bad_key},
    {"ShortKey", [](sealed_device& d) { d.sign(make_key(1024).get()); },
     "ERROR: Not supporting RSA key length: 1024. Provide 2048 key length.\n"
     "ERROR: Seal Signature TL1 hash verification failed, public key validation failed.\n"},
    {"NoPmf", [](sealed_device& d) { d.pmf.reset(); },
     "Unable to validate Seal Signature against Key Manifest Extension. PMF is not provided\n"},
    {"PmfWithoutKeys", [](sealed_device& d) { d.pmf->extensions.pop_back(); },
     "PMF Extension of type PMF::KeyManifestExtension(0x0103) was not found in PMF.\n"
     "Key Manifest Extension was not found in PMF\n"},
};

const failing_row level_3_rows[] = {
    {"KeyId", [](sealed_device& d) { d.signature.odm_key_id = 65534; },
     "ERROR: Seal Signature TL3 verification failed, ODM KEY ID has improper value.\n"},
    {"KeyByte", [](sealed_device& d) { d.signature.public_key.assign(301, 0), d.signature.public_key.back() = 1; },
     "ERROR: Public key buffer in seal data is expected to be fully zeroed. First non zero byte at index 300\n"},
    {"OtherSealData", [](sealed_device& d) { d.data.device_id[0] = 'X'; }, bad_digest},
    {"CutDigest", [](sealed_device& d) { d.field_size = 548 + 31; }, bad_digest},
    {"NoIdentity", [](sealed_device& d) { d.identity.reset(); },
     "To validate TL3 data set ExpectedSealSigningAlgorithm to SHA256-NULL-ENCRYPTION and provide valid "
     "TL3SealIdentityVerificationFile.\n"
     "Missing expected seal integrity data.\n"},
    {"OtherType", [](sealed_device& d) { d.identity->device_id_type = "UUID"; },
     "  CSV   : [UUID]\n  Actual: [SERIAL_NUMBER]\n" + other_type},
    {"UnknownTypesNeverMatch",
     [](sealed_device& d) { d.data.device_id_type = 5, d.digest(), d.identity->device_id_type = "UNKNOWN"; },
     "  CSV   : [UNKNOWN]\n  Actual: [UNKNOWN]\n" + other_type},
    {"DeviceIdLargerThanItsField", [](sealed_device& d) { d.data.device_id_length = 65, d.digest(); },
     "Device ID size [65] in Seal Log is too big. Maximum size is 64.\n"},
};

void expect_failures(std::span<const failing_row> rows, const std::string& note) {
    for (const failing_row& row : rows) {
        test::log_session session(log_level::error);
        sealed_device device;
        if (note == "TL3") {
            device.digest();
        }
        row.change(device);
        const stage_outcome outcome = device.verify();
        EXPECT_EQ(outcome.verdict, verdict::failed) << row.name;
        EXPECT_EQ(outcome.note, note) << row.name;
        const std::string pushed = session.pushed();
        EXPECT_EQ(session.logged() + pushed, row.said) << row.name;
    }
}

TEST(SealSignature, FailsWithItsReason) {
    expect_failures(common_rows, "");
    expect_failures(level_1_rows, "TL1");
    expect_failures(level_3_rows, "TL3");
}

struct passing_row {
    const char* name;
    void (*change)(sealed_device&);
    std::string note;
    std::string pushed;
};

const std::string future =
    "The seal event timestamp reported in the seal signature is in the future. The Sealing has occurred at "
    "2023-11-14 22:14:21 UTC, while now is 2023-11-14 22:13:20 UTC. Please check time settings on this machine and "
    "in the manufacturing environment.\n";

const passing_row passing_rows[] = {
    {"UnsignedSealIsNotLookedAt",
     [](sealed_device& d) { d.signing_enabled = false, d.sealed_instance = 1, d.data.marker = "", d.field_size = 0; },
     "", ""},
    {"Level1", [](sealed_device& d) { d.signature.odm_key_id = 65534, d.sign(); }, "TL1", ""},
    {"Level1SignsReservedBytesAsZeros",
     [](sealed_device& d) { d.signature.key_reserved[2] = d.signature.key_reserved[13] = 1; }, "TL1", reserved},
    {"Level1InAMinute", [](sealed_device& d) { d.data.timestamp = now + 61, d.sign(); }, "TL1, WARN", future},
    {"Level3WithAnySize", [](sealed_device& d) { d.digest(), d.signature.size = UINT32_MAX; }, "TL3", ""},
    {"Level3OfAFullBlob",
     [](sealed_device& d) {
         d.data.device_id_type = 3, d.data.device_id.assign(64, 0xAB), d.digest();
         d.identity->device_id_type = "OEM_DEFINED_BLOB", d.identity->device_id = "0x" + upper_hex(d.data.device_id);
     },
     "TL3", ""},
    {"Level3InAMinute",
     [](sealed_device& d) {
         d.data.timestamp = now + 61, d.digest(), d.identity->seal_date_time = "2023-11-14T22:14:21Z";
     },
     "TL3, WARN", future},
};

TEST(SealSignature, PassesWithItsTrustedLevel) {
    for (const passing_row& row : passing_rows) {
        test::log_session session(log_level::error);
        sealed_device device;
        row.change(device);
        const stage_outcome outcome = device.verify();
        const bool warned = row.note.ends_with("WARN");
        EXPECT_EQ(outcome.verdict, warned ? verdict::passed_with_warnings : verdict::passed) << row.name;
        EXPECT_EQ(outcome.note, row.note) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

TEST(SealSignature, TrustedLevel1RefusesAKeyThatIsNotListed) {
    test::log_session session(log_level::error);
    sealed_device device;
    device.sign(make_key(2048).get());
    EXPECT_EQ(device.verify().verdict, verdict::failed);
    EXPECT_TRUE(session.pushed().ends_with(" is not present in PMF::KeyManifestExtension.\n"));
}

std::string differs(const std::string& csv, const std::string& actual, const std::string& heading) {
    return "  CSV   : [" + csv + "]\n  Actual: [" + actual + "]\n" + heading + "\n";
}

TEST(SealSignature, TrustedLevel3ReportsEveryDifferenceFromTheDescribedSeal) {
    test::log_session session(log_level::error);
    sealed_device device;
    device.digest();
    const std::string digits = device.identity->seal_integrity_data;
    const std::string shouted = upper_hex(device.signature.value);
    *device.identity = {"2023-11-14T22:13:21Z", "SERIAL_NUMBER", "sn1", "3", "SHA256-RSA-2048-PKCS1", shouted};
    EXPECT_EQ(device.verify().verdict, verdict::failed);
    EXPECT_EQ(
        session.pushed(),
        differs("2023-11-14T22:13:21Z", "2023-11-14T22:13:20Z",
                "Seal timestamp from the Seal Log and TL3SealIdentityVerificationFile do not match:") +
            differs("sn1", "SN1", "Device ID from the Seal Log and TL3SealIdentityVerificationFile do not match:") +
            differs("3", "2",
                    "Seal Instance ID from the Seal Log and TL3SealIdentityVerificationFile do not match:") +
            differs("SHA256-RSA-2048-PKCS1", "SHA256-NULL-ENCRYPTION",
                    "Seal hash algorithm from the Seal Log and TL3SealIdentityVerificationFile do not match.") +
            differs(shouted, digits,
                    "Signature digest from the Seal Log and TL3SealIdentityVerificationFile do not match:"));
}

TEST(SealSignature, TrustedLevel3ReadsDatesAndNumbersOfTheFile) {
    struct {
        const char* date;
        const char* instance;
        bool matches;
    } const rows[] = {
        {"2024-2-29T00:00:00Z", "+2", true},         {" 2024-02-29T0:0:0Z,", " 002 ", true},
        {"2024-02-28T24:00:00Z", "2", false},        {"2024-02-29T00:00Z", "2", false},
        {"2024-02-29 00:00:00Z", "2", false},        {"2024-02-30T00:00:00Z", "2", false},
        {"2024-02-29T00:00:00Z", "0x2", false},      {"2024-02-29T00:00:00Z", "4294967298", false},
        {"99999999999-02-29T00:00:00Z", "2", false}, {"2024-02-29T00:00:00Z", "two", false},
    };
    for (const auto& row : rows) {
        test::log_session session(log_level::off);
        sealed_device device;
        session.clock.time = device.data.timestamp = 1'709'164'800;
        device.digest();
        device.identity->seal_date_time = row.date;
        device.identity->seal_instance_id = row.instance;
        EXPECT_EQ(device.verify().verdict == verdict::passed, row.matches) << row.date << ' ' << row.instance;
    }
}

TEST(SealData, GivesTheDeviceId) {
    test::log_session session(log_level::debug);
    lab::seal_data data;
    data.device_id_type = 2;
    data.device_id = test::bytes(64, 'L');
    const auto read = [&](sealed_device_id& out) {
        lab::seal_log built;
        built.events = {lab::seal_configured(now, 1, build(data))};
        return device_id_from_seal_log(test::read_log(built), out);
    };
    sealed_device_id id;
    EXPECT_EQ(read(id), result::success);
    EXPECT_EQ(id.type, 2U);
    EXPECT_TRUE(equal_bytes(id.id.bytes(), data.device_id));
    EXPECT_TRUE(
        session.logged().starts_with("Fetched DeviceID size [64] and type [OEM_DEFINED_LITERAL] from Seal "
                                     "Log.\nFetched DeviceID from Seal Log:\n00000000 | 4c4c"));
    data.device_id_length = 65;
    EXPECT_EQ(read(id), result::check_failed);
    EXPECT_EQ(device_id_from_seal_log({}, id), result::invalid);
    EXPECT_EQ(session.pushed(),
              "Device ID size [65] in Seal Log is too big. Maximum size is 64.\n"
              "Could not find Seal Configured Event in Seal log.\n");
}

TEST(SealData, ComparesThePmfHash) {
    test::log_session session(log_level::off);
    lab::seal_data data;
    data.pmf_hash.fill(0xAB);
    lab::seal_log built;
    built.events = {lab::seal_configured(now, 1, build(data)), lab::seal_configured(now, 1)};
    const seal_log log = test::read_log(built);
    sha384_value hash = data.pmf_hash;
    EXPECT_EQ(compare_pmf_hash_with_seal_log(log, hash), result::success);
    EXPECT_EQ(compare_pmf_hash_with_seal_log({}, hash), result::invalid);
    hash[47] = 0xAC;
    EXPECT_EQ(compare_pmf_hash_with_seal_log(log, hash), result::check_failed);
    EXPECT_EQ(session.pushed(),
              "Could not find Seal Configured Event in Seal log.\n"
              " Actual (PMF):        0x" +
                  upper_hex(hash) +
                  "\n"
                  " Expected (Seal Log): 0x" +
                  upper_hex(data.pmf_hash) +
                  "\n"
                  "PMF hash does not match PMF hash from Seal Log.\n");
}

}  // namespace
}  // namespace vellum
