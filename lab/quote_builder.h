// What a TPM signs about its PCRs, made without one: well-formed by default, with a knob for what a test spoils
// (TPM 2.0 Library, Part 2: Structures; big-endian).
#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <vector>

#include "core/pcr.h"
#include "tpm/attestation/evidence.h"
#include "tpm/attestation/tpm_numbers.h"

namespace vellum::lab {

struct quote_plan {
    EVP_PKEY* key = nullptr;  // P-256, or RSA of 2048 bits
    std::vector<std::uint8_t> nonce;
    pcr_value_list pcrs{};

    std::uint32_t attributes = 0;  // 0: those of the template
    std::uint32_t magic = tpm::generated_value;
    std::uint16_t type = tpm::tag_attest_quote;
    std::uint32_t hierarchy = tpm::endorsement_hierarchy;
    std::uint64_t clock = 123'456;  // milliseconds
    std::uint32_t reset_count = 7;
    std::uint32_t restart_count = 2;
    bool safe = true;
    std::uint64_t firmware_version = 0x2019'0416'0012'3456;
    std::uint16_t bank = tpm::alg_sha256;
    std::uint32_t selected = all_pcrs;  // mask
};

// The four files; without them when the crypto library refuses.
evidence_files build(const quote_plan& plan);

}  // namespace vellum::lab
