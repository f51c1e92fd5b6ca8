#include "seal/seal_signature.h"

#include <algorithm>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "seal/seal_events.h"
#include "seal/trusted_levels.h"

namespace vellum {
namespace {

// Offsets into the seal signature and sizes, bytes.
constexpr std::size_t version_reserved_offset = 2;
constexpr std::size_t version_reserved_size = 2;
constexpr std::size_t algorithm_offset = 4;    // 32-bit, then the instance ID, 32-bit
constexpr std::size_t odm_key_id_offset = 12;  // 16-bit, read with two reserved bytes
constexpr std::size_t key_reserved_offset = 14;
constexpr std::size_t key_reserved_size = 14;
constexpr std::size_t public_key_length_offset = 28;  // 32-bit, then the key

constexpr std::uint32_t unsigned_seal_instance_id = 1;

struct format_version {
    std::uint8_t major;
    std::uint8_t minor;
};

constexpr format_version seal_data_version = {1, 1};
constexpr format_version seal_signature_version = {1, 0};

std::string version_text(format_version version) {
    return formatted("%d.%d", version.major, version.minor);
}

[[nodiscard]] bool decode_fields(byte_view bytes, seal_signature& out) {
    byte_reader version(bytes);
    byte_reader algorithm(bytes.subspan(algorithm_offset));
    byte_reader odm_key_id(bytes.subspan(odm_key_id_offset));
    byte_reader key(bytes.subspan(public_key_length_offset));
    return version.u8(out.version_major) && version.u8(out.version_minor) && algorithm.u32_le(out.algorithm) &&
           algorithm.u32_le(out.instance_id) && odm_key_id.u32_le(out.odm_key_id) &&
           key.u32_le(out.public_key_length) && key.copy(out.public_key);
}

bool require_instance_of_signed_seal(std::uint32_t sealed_id, const seal_signature& signature) {
    if (sealed_id == unsigned_seal_instance_id) {
        report("seal-instance-unsigned"_id,
               "Seal signing enabled in the seal configuration but SealInstanceID is 1, expected >1.")
            .field("actual", sealed_id)
            .field("actual_source", "Seal Log");
        return false;
    }
    if (sealed_id != signature.instance_id) {
        report("seal-instance-differs"_id,
               "SealInstanceID from Seal Signature %d and from Seal Config Event Data %d do not match.",
               static_cast<int>(signature.instance_id), static_cast<int>(sealed_id))
            .field("expected", signature.instance_id)
            .field("expected_source", "Seal Signature")
            .field("actual", sealed_id)
            .field("actual_source", "Seal Log");
        return false;
    }
    return true;
}

stage_outcome judge_unsigned_seal(std::uint32_t sealed_id, const seal_signature& signature) {
    if (sealed_id != unsigned_seal_instance_id) {
        report("seal-instance-signed"_id, "Seal signing is disabled but the SealInstanceID is %d, expected 1.",
               static_cast<int>(sealed_id))
            .field("expected", unsigned_seal_instance_id)
            .field("actual", sealed_id);
        return failed();
    }
    log_at(log_level::trace, "Seal signing disabled in the seal configuration and Orbis.");
    if (signature.instance_id != unsigned_seal_instance_id) {
        log_at(log_level::debug,
               "SealInstanceID from Seal Signature %d and from Seal Config Event Data %d do not match.",
               static_cast<int>(signature.instance_id), static_cast<int>(sealed_id));
    }
    return passed();
}

// Format checks. Each says whether the stage may go on.

bool check_marker(const signed_seal& seal) {
    if (std::equal(seal_data_marker.begin(), seal_data_marker.end(), seal.data.marker.begin())) {
        return true;
    }
    const std::string_view marker(seal.data.marker.data(), seal.data.marker.size());
    report("seal-data-marker-unknown"_id, "Unrecognized Seal Data marker. Actual: %s. Expected: %s.",
           shown_text(field_text(as_bytes(marker))).c_str(), seal_data_marker.data())
        .field("expected", seal_data_marker.data())
        .field("actual", field_text(as_bytes(marker)));
    return false;
}

bool check_data_version(const signed_seal& seal) {
    constexpr format_version expected = seal_data_version;
    if (seal.data.version_major == expected.major && seal.data.version_minor == expected.minor) {
        return true;
    }
    report("seal-data-version-unknown"_id, "Unrecognized Seal Data version. Actual: %d.%d. Expected: %d.%d.",
           seal.data.version_major, seal.data.version_minor, expected.major, expected.minor)
        .field("expected", version_text(expected))
        .field("actual", version_text({seal.data.version_major, seal.data.version_minor}));
    return false;
}

bool check_signature_version(const signed_seal& seal) {
    constexpr format_version expected = seal_signature_version;
    const seal_signature& signature = seal.signature;
    if (signature.version_major == expected.major && signature.version_minor == expected.minor) {
        return true;
    }
    report("seal-signature-version-unknown"_id,
           "Unrecognized Seal Signature version. Actual: %d.%d. Expected: %d.%d.", signature.version_major,
           signature.version_minor, expected.major, expected.minor)
        .field("expected", version_text(expected))
        .field("actual", version_text({signature.version_major, signature.version_minor}));
    return false;
}

// Worth a remark only: a later firmware may give these bytes a meaning.
bool remark_reserved_bytes(const signed_seal& seal) {
    if (!seal.signature.reserved_clear) {
        report("seal-signature-reserved-set"_id, "Seal signature reserved bytes are not set to 0x00.");
    }
    return true;
}

using format_check = bool (*)(const signed_seal&);

constexpr format_check format_checks[] = {
    check_marker,
    check_data_version,
    check_signature_version,
    remark_reserved_bytes,
};

bool format_is_sound(const signed_seal& seal) {
    bool sound = true;
    for (const format_check passes : format_checks) {
        sound = passes(seal) && sound;
    }
    return sound;
}

struct trusted_level {
    signature_scheme algorithm;
    stage_outcome (*verify)(const signed_seal&);
};

constexpr trusted_level trusted_levels[] = {
    {signature_scheme::sha256_rsa_2048_pkcs1, verify_trusted_level_1},
    {signature_scheme::sha256_null_encryption, verify_trusted_level_3},
};

stage_outcome judge_signed_seal(const signed_seal& seal) {
    if (!format_is_sound(seal)) {
        return failed();
    }
    for (const trusted_level& level : trusted_levels) {
        if (static_cast<std::uint32_t>(level.algorithm) == seal.signature.algorithm) {
            return level.verify(seal);
        }
    }
    report("seal-signature-algorithm-unknown"_id, "Unrecognized Seal Signature algorithm in Seal Data: 0x%x",
           seal.signature.algorithm)
        .field("value", seal.signature.algorithm);
    return failed();
}

}  // namespace

std::optional<seal_signature> read_seal_signature(byte_view bytes) {
    seal_signature out;
    byte_reader reader(bytes.first(std::min(bytes.size(), seal_signature_field_size)));
    if (!reader.copy(out.signed_bytes) || !reader.u32_le(out.size) || !decode_fields(out.signed_bytes, out)) {
        return std::nullopt;
    }
    const byte_view room = reader.rest();
    out.room.assign(room.begin(), room.end());
    const byte_view fixed = out.signed_bytes;
    out.reserved_clear = all_zero(fixed.subspan(key_reserved_offset, key_reserved_size)) &&
                         all_zero(fixed.subspan(version_reserved_offset, version_reserved_size));
    std::fill_n(out.signed_bytes.begin() + signed_as_zeros_offset, signed_as_zeros_size, std::uint8_t{0});
    return out;
}

std::array<std::uint8_t, seal_signed_size> seal_signed_bytes(const seal_data& data, const seal_signature& signature) {
    std::array<std::uint8_t, seal_signed_size> message{};
    const auto middle = std::copy(data.bytes.begin(), data.bytes.end(), message.begin());
    std::copy(signature.signed_bytes.begin(), signature.signed_bytes.end(), middle);
    return message;
}

stage_outcome verify_seal_signature(const seal_signature_inputs& inputs) {
    const seal_record* configured = find_seal_event(inputs.log, SEAL_CONFIGURED);
    const std::optional<seal_data> data = find_seal_data(inputs.log);
    if (configured == nullptr || !data) {
        report("seal-data-missing"_id, "Missing Seal Configured Event Data in the Seal Log.");
        return failed();
    }
    const std::uint32_t sealed_id = seal_instance_id(*configured);
    if (!inputs.signing_enabled) {
        return judge_unsigned_seal(sealed_id, inputs.signature);
    }
    if (!require_instance_of_signed_seal(sealed_id, inputs.signature)) {
        return failed();
    }
    return judge_signed_seal({*data, inputs.signature, inputs.identity, inputs.pmf, inputs.now});
}

}  // namespace vellum
