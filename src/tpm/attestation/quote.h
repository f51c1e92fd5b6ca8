// A quote: what the TPM says of its PCRs (TPMS_ATTEST) and its signature over that (TPMT_SIGNATURE), as the TPM gives
// them (TPM 2.0 Library, Part 2: Structures; big-endian). A structure that is cut or that anything follows is none.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "core/pcr.h"
#include "tpm/attestation/attestation_key.h"

namespace vellum {

inline constexpr std::size_t min_nonce_size = 1;  // bytes
inline constexpr std::size_t max_nonce_size = 64;

// From hexadecimal digits; nothing for what is no nonce of a size within these.
std::optional<std::vector<std::uint8_t>> parse_nonce(std::string_view digits);

inline constexpr std::size_t max_quote_size = 1024;
inline constexpr std::size_t max_signature_size = 1024;

// With views into the bytes that it was read from.
struct quote {
    bool by_tpm = false;    // the head that only a TPM can have signed
    bool is_quote = false;  // and not another of its statements; else nothing behind `firmware_version` was read
    byte_view signer;       // its qualified name
    byte_view nonce;
    std::uint64_t clock = 0;          // milliseconds that the TPM has been on since its clock was reset
    std::uint32_t reset_count = 0;    // times that the machine was started or reset
    std::uint32_t restart_count = 0;  // times that it came back from sleep since
    bool safe = false;                // the clock has not gone back
    std::uint64_t firmware_version = 0;
    bool all_pcrs = false;  // PCRs 0 to 23 of the SHA-256 bank, and no others
    byte_view pcr_digest;
};

std::optional<quote> read_quote(byte_view bytes);

struct quote_signature {
    key_type type = key_type::ecc_p256;
    bool sha256 = false;
    byte_view first;   // the signature of RSASSA, or r
    byte_view second;  // s
};

std::optional<quote_signature> read_quote_signature(byte_view bytes);

// Whether the key signed these bytes.
[[nodiscard]] bool signature_holds(const attestation_key& key, const quote_signature& signature, byte_view quote);

// What a quote says of these values; nothing when the library fails.
std::optional<sha256_value> digest_of_pcrs(const pcr_value_list& values);

}  // namespace vellum
