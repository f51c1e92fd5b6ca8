// The commands that make a quote and what a TPM answers to them (TPM 2.0 Library, Part 3: Commands; big-endian): the
// key is made anew, quotes once, and is flushed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "tpm/attestation/attestation_key.h"

namespace vellum {

inline constexpr std::size_t tpm_response_limit = 4096;  // bytes: the most that a TPM answers

inline constexpr std::uint32_t response_malformed = 0xFFFFFFFF;  // no code of a TPM

// The code of a response, 0 for one that carries a result; response_malformed when its own length is wrong.
std::uint32_t response_code(byte_view response);

// TPM2_CreatePrimary in the endorsement hierarchy, whose authorization is taken to be empty.
std::vector<std::uint8_t> create_key_command(key_type type);

// Whether this is how a TPM says that it cannot make keys of that type, so that another may be asked for.
[[nodiscard]] bool refuses_key_type(std::uint32_t code);

// The handle stands at the head: it has to be flushed whatever becomes of the rest.
std::optional<std::uint32_t> created_handle(byte_view response);

// The public area behind it, as a view.
std::optional<byte_view> created_public_area(byte_view response);

// TPM2_Quote of PCRs 0 to 23 of the SHA-256 bank, with the scheme of the key. The nonce has at most max_nonce_size.
std::vector<std::uint8_t> quote_command(std::uint32_t handle, byte_view nonce);

struct quote_response {
    byte_view quote;      // TPMS_ATTEST
    byte_view signature;  // TPMT_SIGNATURE
};
std::optional<quote_response> read_quote_response(byte_view response);

std::vector<std::uint8_t> flush_command(std::uint32_t handle);

// What a code other than 0 means, in a sentence without its end, with the code behind it.
std::string response_code_text(std::uint32_t code);

}  // namespace vellum
