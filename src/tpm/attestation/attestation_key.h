// The key that a TPM quotes with: a primary key of the endorsement hierarchy that signs nothing but what the TPM says
// about itself, made from a fixed template, so that one TPM makes the same key whenever it is asked and nothing has
// to be stored (TPM 2.0 Library, Part 1: Architecture, and Part 2: Structures; big-endian).
//
// Its name is that of the TPM: the algorithm, and the SHA-256 of the whole public area. Whoever knows the name knows
// the key and all its attributes. Nothing here logs.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "core/openssl.h"

namespace vellum {

enum class key_type { ecc_p256, rsa_2048 };

inline constexpr std::size_t rsa_2048_size = 256;    // bytes of a modulus or a signature
inline constexpr std::size_t p256_number_size = 32;  // bytes of a coordinate, or of r or s

// "ecc-p256", "rsa-2048".
const char* key_type_name(key_type type);

// The public area (TPMT_PUBLIC) that a TPM is asked to make a key of.
std::vector<std::uint8_t> key_template(key_type type);

using key_name = std::array<std::uint8_t, 34>;

struct attestation_key {
    key_type type = key_type::ecc_p256;
    key_name name{};
    std::uint32_t attributes = 0;
    bool of_template = false;        // all of it but the key's own numbers
    std::vector<std::uint8_t> info;  // the SubjectPublicKeyInfo (RFC 5280), of a key of the template
    key_handle key;                  // null where the numbers are no key
};

inline constexpr std::size_t max_public_area_size = 1024;  // bytes

// Reads a public area; nothing for one that is cut, goes on behind its end, or is of neither type.
std::optional<attestation_key> read_attestation_key(byte_view public_area);

// The SubjectPublicKeyInfo as PEM; empty when the library fails.
std::string public_key_pem(const attestation_key& key);

// The name of the signer as a quote of the key has it: that the key stands at the top of the endorsement hierarchy is
// part of it. Nothing when the library fails.
std::optional<key_name> qualified_name(const key_name& name);

}  // namespace vellum
