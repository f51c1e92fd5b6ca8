// The seal signature: what the firmware keeps beside the seal log to prove that a manufacturer sealed this device.
//
// Two trusted levels exist. TL1 is an RSA-2048 PKCS#1 v1.5 signature over SHA-256 (RFC 8017, most significant byte
// first) by a key whose hash the PMF's key manifest must list. TL3 is a bare SHA-256 digest; the seal's identity is
// then compared with the TL3 seal identity file. Fields are little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/bytes.h"
#include "config/tl3_file.h"
#include "core/stage.h"
#include "firmware/feature_state.h"
#include "pmf/format.h"
#include "seal/seal_data.h"
#include "seal/seal_log.h"

namespace vellum {

// Bytes.
inline constexpr std::size_t seal_signature_field_size = seal_log_size_offset - seal_signature_offset;
inline constexpr std::size_t seal_public_key_room = 512;
inline constexpr std::size_t signed_signature_size = 544;  // the leading bytes that the signature covers
inline constexpr std::size_t signed_as_zeros_offset = 16;  // what the signer did not yet know, within these bytes
inline constexpr std::size_t signed_as_zeros_size = 12;
inline constexpr std::size_t seal_signed_size = seal_data_size + signed_signature_size;

struct seal_signature {
    std::uint8_t version_major = 0;
    std::uint8_t version_minor = 0;
    std::uint32_t algorithm = 0;  // a signature_scheme, or a value that has no meaning
    std::uint32_t instance_id = 0;
    std::uint32_t odm_key_id = 0;                                 // with the two reserved bytes that follow it
    bool reserved_clear = false;                                  // every reserved byte is 0
    std::uint32_t public_key_length = 0;                          // bytes of the key that count, as claimed
    std::array<std::uint8_t, seal_public_key_room> public_key{};  // DER SubjectPublicKeyInfo
    std::uint32_t size = 0;                                       // bytes of the signature, as claimed
    std::vector<std::uint8_t> room;                               // what there is of the signature's own field
    std::array<std::uint8_t, signed_signature_size> signed_bytes{};
};

// Decodes the signature; bytes past its field are not looked at. Nothing when the fixed part does not fit.
std::optional<seal_signature> read_seal_signature(byte_view bytes);

// The message that was signed.
std::array<std::uint8_t, seal_signed_size> seal_signed_bytes(const seal_data& data, const seal_signature& signature);

struct seal_signature_inputs {
    const seal_log& log;
    const seal_signature& signature;
    bool signing_enabled;             // in the current seal configuration
    const Tl3SealIdentity* identity;  // null: none is loaded
    const PmfDocument* pmf;           // null: none is loaded
    std::int64_t now;                 // seconds since 1970-01-01 UTC
};

// The check of the stage "Seal Signature trustworthiness verification". Its note names the trusted level, once that
// is known.
stage_outcome verify_seal_signature(const seal_signature_inputs& inputs);

}  // namespace vellum
