#include "seal/seal_signature.h"

#include <algorithm>

#include "base/text.h"
#include "lab/certificate_authority.h"
#include "lab/pmf_builder.h"
#include "pmf/parser.h"
#include "tests/seal/history.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

constexpr std::uint32_t now = test::session_time;

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

    void sign(EVP_PKEY* key = lab::private_key(lab::key_kind::rsa_2048)) {
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
        const std::optional<seal_signature> read = read_seal_signature(field);
        EXPECT_TRUE(read);
        return verify_seal_signature(
            {log, *read, signing_enabled, identity ? &*identity : nullptr, pmf ? &*pmf : nullptr, present});
    }

    lab::seal_data data;
    lab::seal_signature signature;
    std::uint32_t present = now;
    std::uint32_t sealed_instance = 2;
    bool configured = true;
    bool signing_enabled = true;
    std::size_t field_size = SIZE_MAX;
    std::optional<Tl3SealIdentity> identity;
    std::optional<PmfDocument> pmf;
};

struct signature_row {
    const char* name;
    void (*change)(sealed_device&);
    std::string said;  // what was logged as an error, then what was pushed
};

const std::string reserved = "Seal signature reserved bytes are not set to 0x00.\n";
const std::string bad_id_1 = "ERROR: Seal Signature TL1 verification failed, ODM KEY ID has improper value.\n";
const std::string bad_hash = "Seal Signature verification failed. Signature hash is invalid.\n";
const std::string bad_key = "ERROR: Seal Signature TL1 hash verification failed, public key conversion failed.\n";
const std::string bad_digest = "ERROR: Seal data signature TL3 is invalid. Signature digest does not match.\n";

const signature_row failing_rows[] = {
    {"EveryFormatFault",
     [](sealed_device& d) {
         d.data.marker = "KVR-SEAM", d.signature.version_minor = 1, d.signature.version_reserved[1] = 1;
     },
     "Unrecognized Seal Data marker. Actual: KVR-SEAM. Expected: KVR-SEAL.\n"
     "Unrecognized Seal Signature version. Actual: 1.1. Expected: 1.0.\n" +
         reserved},
};

const signature_row failing_level_1_rows[] = {
    {"KeyIdIsReadWithReservedBytes", [](sealed_device& d) { d.signature.key_reserved[1] = 1; }, bad_id_1 + reserved},
    {"OtherSealData", [](sealed_device& d) { d.data.pmf_hash[47] ^= 1; }, bad_hash},
    {"LargerThanItsField", [](sealed_device& d) { d.signature.size = 553; },
     "Seal Signature has invalid size. Actual: 553. Maximum: 552.\n"},
    {"NoKey", [](sealed_device& d) { d.signature.public_key_length = 0; }, bad_key},
    {"KeyLargerThanItsField", [](sealed_device& d) { d.signature.public_key_length = 513; }, bad_key},
    {"ShortKey", [](sealed_device& d) { d.sign(lab::private_key(lab::key_kind::rsa_1024)); },
     "ERROR: Not supporting RSA key length: 1024. Provide 2048 key length.\n"
     "ERROR: Seal Signature TL1 hash verification failed, public key validation failed.\n"},
    {"PmfWithoutKeys", [](sealed_device& d) { d.pmf->extensions.pop_back(); },
     "PMF Extension of type PMF::KeyManifestExtension(0x0103) was not found in PMF.\n"
     "Key Manifest Extension was not found in PMF\n"},
};

const signature_row failing_level_3_rows[] = {
    {"OtherSealData", [](sealed_device& d) { d.data.device_id[0] = 'X'; }, bad_digest},
    {"CutDigest", [](sealed_device& d) { d.field_size = 548 + 31; }, bad_digest},
    {"UnknownTypesNeverMatch",
     [](sealed_device& d) { d.data.device_id_type = 5, d.digest(), d.identity->device_id_type = "UNKNOWN"; },
     "  CSV   : [UNKNOWN]\n  Actual: [UNKNOWN]\n"
     "Device ID type from the Seal Log and TL3SealIdentityVerificationFile do not match:\n"
     "Skipping matching Device ID from the Seal Log and TL3SealIdentityVerificationFile due to not matching Device "
     "ID "
     "type.\n"},
    {"DeviceIdLargerThanItsField", [](sealed_device& d) { d.data.device_id_length = 65, d.digest(); },
     "Device ID size [65] in Seal Log is too big. Maximum size is 64.\n"},
};

const signature_row unsigned_rows[] = {
    {"IsNotLookedAt", [](sealed_device& d) { d.signing_enabled = false, d.sealed_instance = 1, d.data.marker = ""; },
     ""},
};

const signature_row passing_level_1_rows[] = {
    {"LastKeyId", [](sealed_device& d) { d.signature.odm_key_id = 65534, d.sign(); }, ""},
    {"ReservedBytesAreSignedAsZeros",
     [](sealed_device& d) { d.signature.key_reserved[2] = d.signature.key_reserved[13] = 1; }, reserved},
};

const signature_row passing_level_3_rows[] = {
    {"AnySize", [](sealed_device& d) { d.signature.size = UINT32_MAX; }, ""},
    {"FullBlob",
     [](sealed_device& d) {
         d.data.device_id_type = 3, d.data.device_id.assign(64, 0xAB), d.digest();
         d.identity->device_id_type = "OEM_DEFINED_BLOB", d.identity->device_id = "0x" + upper_hex(d.data.device_id);
     },
     ""},
};

void expect(stage_verdict expected, const std::string& note, std::span<const signature_row> rows) {
    for (const signature_row& row : rows) {
        test::log_session session(log_level::error);
        sealed_device device;
        if (note == "TL3") {
            device.digest();
        }
        row.change(device);
        const stage_outcome outcome = device.verify();
        EXPECT_EQ(outcome.verdict, expected) << row.name;
        EXPECT_EQ(outcome.note, note) << row.name;
        const std::string pushed = session.pushed();
        EXPECT_EQ(session.logged() + pushed, row.said) << row.name;
    }
}

TEST(SealSignature, PassesOrFailsWithItsReason) {
    expect(stage_verdict::failed, "", failing_rows);
    expect(stage_verdict::failed, "TL1", failing_level_1_rows);
    expect(stage_verdict::failed, "TL3", failing_level_3_rows);
    expect(stage_verdict::passed, "", unsigned_rows);
    expect(stage_verdict::passed, "TL1", passing_level_1_rows);
    expect(stage_verdict::passed, "TL3", passing_level_3_rows);
}

TEST(SealSignature, EndsBehindItsSizeAtLeast) {
    EXPECT_FALSE(read_seal_signature(test::bytes(547)));
    EXPECT_TRUE(read_seal_signature(test::bytes(548)));
}

TEST(SealSignature, TrustedLevel3ReportsEveryDifferenceFromTheDescribedSeal) {
    test::log_session session(log_level::error);
    sealed_device device;
    device.digest();
    const std::string shouted = upper_hex(device.signature.value);
    *device.identity = {"2023-11-14T22:13:21Z", "SERIAL_NUMBER", "sn1", "3", "SHA256-RSA-2048-PKCS1", shouted};
    EXPECT_EQ(device.verify().verdict, stage_verdict::failed);
    const std::string pushed = session.pushed();
    EXPECT_EQ(std::count(pushed.begin(), pushed.end(), '\n'), 5 * 3) << pushed;
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
        device.present = device.data.timestamp = 1'709'164'800;
        device.digest();
        device.identity->seal_date_time = row.date;
        device.identity->seal_instance_id = row.instance;
        EXPECT_EQ(device.verify().verdict == stage_verdict::passed, row.matches) << row.date << ' ' << row.instance;
    }
}

TEST(SealData, ComparesThePmfHashOfTheFirstSeal) {
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
}

}  // namespace
}  // namespace vellum
