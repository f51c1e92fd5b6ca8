#include "lab/quote_builder.h"

#include <openssl/ec.h>
#include <openssl/x509.h>

#include "core/digest.h"
#include "core/openssl.h"
#include "lab/byte_builder.h"
#include "lab/certificate_authority.h"
#include "tpm/attestation/quote.h"

namespace vellum::lab {
namespace {

using bytes = std::vector<std::uint8_t>;

constexpr std::size_t number_size = 32;    // of r, s and the coordinates
constexpr std::size_t modulus_size = 256;  // bytes
constexpr std::size_t exponent_size = 5;   // bytes: 65537 in DER

bool is_ecc(const quote_plan& plan) {
    return EVP_PKEY_base_id(plan.key) == EVP_PKEY_EC;
}

byte_builder& sized(byte_builder& out, byte_view data) {
    return out.u16_be(static_cast<std::uint16_t>(data.size())).bytes(data);
}

byte_builder& u64_be(byte_builder& out, std::uint64_t value) {
    return out.u32_be(static_cast<std::uint32_t>(value >> 32)).u32_be(static_cast<std::uint32_t>(value));
}

// The template with the numbers of the key, which stand at the end of its public key in DER.
bytes public_area(const quote_plan& plan) {
    constexpr std::size_t attributes_offset = 4;
    const bytes der = public_key_der(plan.key);
    bytes area = key_template(is_ecc(plan) ? key_type::ecc_p256 : key_type::rsa_2048);
    if (plan.attributes != 0) {
        const bytes attributes = byte_builder().u32_be(plan.attributes).take();
        std::copy(attributes.begin(), attributes.end(), area.begin() + attributes_offset);
    }
    byte_builder out;
    if (is_ecc(plan)) {
        const byte_view numbers = byte_view(der).last(2 * number_size);
        out.bytes(byte_view(area).first(area.size() - 2 * sizeof(std::uint16_t)));
        sized(sized(out, numbers.first(number_size)), numbers.last(number_size));
    } else {
        const byte_view modulus = byte_view(der).last(modulus_size + exponent_size).first(modulus_size);
        sized(out.bytes(byte_view(area).first(area.size() - sizeof(std::uint16_t))), modulus);
    }
    return out.take();
}

// The algorithm, and the digest of the hierarchy's handle and the name.
bytes signer(const quote_plan& plan, byte_view area) {
    sha256_value name{};
    sha256_value qualified{};
    const bool named =
        ok(sha256(area, name)) &&
        ok(sha256(byte_builder().u32_be(plan.hierarchy).u16_be(tpm::alg_sha256).bytes(name).take(), qualified));
    return named ? byte_builder().u16_be(tpm::alg_sha256).bytes(qualified).take() : bytes();
}

bytes statement(const quote_plan& plan, byte_view area) {
    byte_builder out;
    out.u32_be(plan.magic).u16_be(plan.type);
    sized(sized(out, signer(plan, area)), plan.nonce);
    u64_be(out, plan.clock).u32_be(plan.reset_count).u32_be(plan.restart_count).u8(plan.safe ? 1 : 0);
    u64_be(out, plan.firmware_version).u32_be(1).u16_be(plan.bank).u8(3);
    for (unsigned shift = 0; shift < pcr_count; shift += 8) {
        out.u8(static_cast<std::uint8_t>(plan.selected >> shift));
    }
    return sized(out, digest_of_pcrs(plan.pcrs).value_or(sha256_value())).take();
}

// Two numbers in DER, as a TPM gives them.
bytes ecdsa_numbers(const bytes& der) {
    using signature_handle = openssl_handle<ECDSA_SIG, ECDSA_SIG_free>;
    const std::uint8_t* end = der.data();
    const signature_handle read(d2i_ECDSA_SIG(nullptr, &end, static_cast<long>(der.size())));
    byte_builder out;
    for (const BIGNUM* number : {ECDSA_SIG_get0_r(read.get()), ECDSA_SIG_get0_s(read.get())}) {
        bytes padded(number_size);
        BN_bn2binpad(number, padded.data(), static_cast<int>(padded.size()));
        sized(out, padded);
    }
    return out.take();
}

bytes signature(const quote_plan& plan, byte_view quote) {
    const bytes made = sign_data(plan.key, quote);
    byte_builder out;
    out.u16_be(is_ecc(plan) ? tpm::alg_ecdsa : tpm::alg_rsassa).u16_be(tpm::alg_sha256);
    return is_ecc(plan) ? out.bytes(ecdsa_numbers(made)).take() : sized(out, made).take();
}

}  // namespace

evidence_files build(const quote_plan& plan) {
    evidence_files out;
    out.public_area = public_area(plan);
    out.quote = statement(plan, *out.public_area);
    out.signature = signature(plan, *out.quote);
    out.pcrs.emplace();
    for (const pcr_value& value : plan.pcrs) {
        out.pcrs->insert(out.pcrs->end(), value.begin(), value.end());
    }
    return out;
}

}  // namespace vellum::lab
