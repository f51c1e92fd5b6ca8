#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/text.h"
#include "core/digest.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/times.h"
#include "seal/seal_date.h"
#include "seal/trusted_levels.h"

namespace vellum {
namespace {

constexpr const char* level_name = "TL3";

constexpr std::uint32_t no_odm_key_id = 65535;

bool key_room_is_clear(const seal_signature& signature) {
    const auto& key = signature.public_key;
    const auto first = std::find_if(key.begin(), key.end(), [](std::uint8_t value) { return value != 0; });
    if (first != key.end()) {
        log_at(log_level::error,
               "Public key buffer in seal data is expected to be fully zeroed. First non zero byte at index %llu",
               static_cast<unsigned long long>(first - key.begin()));
        note("tl3-key-differs"_id).field("offset", first - key.begin()).field("expected", 0).field("actual", *first);
    }
    return first == key.end();
}

// The bytes in the place of the digest; fewer when the signature's field ends before.
byte_view sealed_digest(const seal_signature& signature) {
    const byte_view room = signature.room;
    return room.first(std::min(room.size(), std::tuple_size_v<sha256_value>));
}

bool digest_matches(const signed_seal& seal) {
    sha256_value digest{};
    if (!ok(sha256(seal_signed_bytes(seal.data, seal.signature), digest))) {
        log_at(log_level::error, "Failed to compute SHA256 digest from seal signing data.");
        return false;
    }
    if (!equal_bytes(digest, sealed_digest(seal.signature))) {
        log_at(log_level::error, "Seal data signature TL3 is invalid. Signature digest does not match.");
        note("tl3-digest-differs"_id)
            .field("expected", sealed_digest(seal.signature))
            .field("expected_source", "Seal Signature")
            .field("actual", byte_view(digest))
            .field("actual_source", "Seal Log");
        return false;
    }
    return true;
}

void report_mismatch(finding_id id, const char* heading, const std::string& csv, const std::string& actual) {
    report_text(id, heading)
        .field("expected", csv)
        .field("expected_source", "TL3SealIdentityVerificationFile")
        .field("actual", actual)
        .field("actual_source", "Seal Log")
        .line("  Actual: [%s]", shown_text(actual).c_str())
        .line("  CSV   : [%s]", shown_text(csv).c_str());
}

// "YYYY-MM-DDThh:mm:ssZ" as seconds since 1970-01-01 UTC. What follows the seconds is not looked at; a day or time
// that does not exist has no seconds.
std::optional<std::int64_t> parse_date_time(const std::string& text) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    const int read =
        std::sscanf(text.c_str(), "%9d-%9d-%9dT%9d:%9d:%9dZ", &year, &month, &day, &hour, &minute, &second);
    const bool in_range = month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour >= 0 && hour <= 23 &&
                          minute >= 0 && minute <= 59 && second >= 0 && second <= 59 && year >= 0 && year <= 9999;
    if (read != 6 || !in_range) {
        return std::nullopt;
    }
    const auto midnight = utc_seconds_of_day(year, static_cast<unsigned>(month), static_cast<unsigned>(day));
    if (!midnight) {
        return std::nullopt;
    }
    return *midnight + (std::int64_t{hour} * 60 + minute) * 60 + second;
}

std::optional<std::uint32_t> parse_instance_id(const std::string& text) {
    unsigned long long value = 0;
    if (std::sscanf(text.c_str(), "%15llu", &value) != 1 || value > UINT32_MAX) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

// Comparisons with the identity file. Each says whether the two agree.

bool match_timestamp(const signed_seal& seal, const Tl3SealIdentity& identity) {
    const std::optional<std::int64_t> expected = parse_date_time(identity.seal_date_time);
    if (expected) {
        log_at(log_level::debug, "CSV date time from TL3SealIdentityVerificationFile is equal: %s",
               utc_time_string(*expected).value_or("").c_str());
    }
    if (expected == std::int64_t{seal.data.timestamp}) {
        return true;
    }
    report_mismatch("seal-identity-time-differs"_id,
                    "Seal timestamp from the Seal Log and TL3SealIdentityVerificationFile do not match:",
                    identity.seal_date_time, utc_iso_string(seal.data.timestamp).value_or(""));
    return false;
}

bool match_sealed_device_id(const signed_seal& seal, const Tl3SealIdentity& identity) {
    const auto type = static_cast<DeviceIdSource>(seal.data.device_id_type);
    const DeviceIdSource expected_type = device_id_source_of(identity.device_id_type);
    if (expected_type == DeviceIdSource::unknown || expected_type != type) {
        report_mismatch("seal-identity-device-id-type-differs"_id,
                        "Device ID type from the Seal Log and TL3SealIdentityVerificationFile do not match:",
                        identity.device_id_type, device_id_source_name(type));
        report(
            "seal-identity-device-id-skipped"_id,
            "Skipping matching Device ID from the Seal Log and TL3SealIdentityVerificationFile due to not matching Device ID type.");
        return false;
    }
    sealed_device_id sealed;
    std::string actual;
    if (!ok(read_sealed_device_id(seal.data, sealed)) || !ok(device_id_to_printable(type, sealed.id, actual))) {
        return false;
    }
    if (actual == identity.device_id) {
        return true;
    }
    report_mismatch(
        "seal-identity-device-id-differs"_id,
        "Device ID from the Seal Log and TL3SealIdentityVerificationFile do not match:", identity.device_id, actual);
    return false;
}

bool match_instance_id(const signed_seal& seal, const Tl3SealIdentity& identity) {
    if (parse_instance_id(identity.seal_instance_id) == seal.signature.instance_id) {
        return true;
    }
    report_mismatch("seal-identity-instance-differs"_id,
                    "Seal Instance ID from the Seal Log and TL3SealIdentityVerificationFile do not match:",
                    identity.seal_instance_id, std::to_string(seal.signature.instance_id));
    return false;
}

bool match_algorithm(const signed_seal& seal, const Tl3SealIdentity& identity) {
    const auto sealed = static_cast<signature_scheme>(seal.signature.algorithm);
    if (signature_scheme_id(identity.signing_algorithm) == sealed) {
        return true;
    }
    report_mismatch("seal-identity-algorithm-differs"_id,
                    "Seal hash algorithm from the Seal Log and TL3SealIdentityVerificationFile do not match.",
                    identity.signing_algorithm, signature_scheme_name(sealed));
    return false;
}

bool match_digest(const signed_seal& seal, const Tl3SealIdentity& identity) {
    const std::string actual = lower_hex(sealed_digest(seal.signature));
    if (actual == identity.seal_integrity_data) {
        return true;
    }
    report_mismatch("seal-identity-digest-differs"_id,
                    "Signature digest from the Seal Log and TL3SealIdentityVerificationFile do not match:",
                    identity.seal_integrity_data, actual);
    return false;
}

using identity_comparison = bool (*)(const signed_seal&, const Tl3SealIdentity&);

constexpr identity_comparison identity_comparisons[] = {
    match_timestamp, match_sealed_device_id, match_instance_id, match_algorithm, match_digest,
};

bool identity_matches(const signed_seal& seal) {
    if (seal.identity == nullptr) {
        report("seal-identity-missing"_id, "Missing expected seal integrity data.")
            .field("key", "TL3SealIdentityVerificationFile")
            .line(
                "To validate TL3 data set ExpectedSealSigningAlgorithm to SHA256-NULL-ENCRYPTION and provide valid TL3SealIdentityVerificationFile.");
        return false;
    }
    bool all_match = true;
    for (const identity_comparison matches : identity_comparisons) {
        all_match = matches(seal, *seal.identity) && all_match;
    }
    return all_match;
}

}  // namespace

stage_outcome verify_trusted_level_3(const signed_seal& seal) {
    if (seal.signature.odm_key_id != no_odm_key_id) {
        log_at(log_level::error, "Seal Signature TL3 verification failed, ODM KEY ID has improper value.");
        note("tl3-key-id-differs"_id).field("expected", no_odm_key_id).field("actual", seal.signature.odm_key_id);
        return failed(level_name);
    }
    if (!key_room_is_clear(seal.signature)) {
        return failed(level_name);
    }
    const bool date_is_plausible = ok(check_seal_date(seal.data.timestamp, seal.now));
    if (!digest_matches(seal) || !identity_matches(seal)) {
        return failed(level_name);
    }
    return date_is_plausible ? passed(level_name) : passed_with_warnings("TL3, WARN");
}

}  // namespace vellum
