#include "tpm/attestation/attestation_key.h"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>

#include "core/digest.h"
#include "tpm/attestation/tpm_numbers.h"

namespace vellum {
namespace {

// A key that cannot leave its TPM, made by it, that signs only what the TPM says. Failed authorizations elsewhere in
// the TPM do not lock it.
constexpr std::uint32_t template_attributes = tpm::fixed_tpm | tpm::fixed_parent | tpm::sensitive_data_origin |
                                              tpm::user_with_auth | tpm::no_da | tpm::restricted | tpm::sign;

constexpr std::uint16_t rsa_bits = 8 * rsa_2048_size;

// The DER SubjectPublicKeyInfo (RFC 5280) around the numbers of a key.
constexpr std::uint8_t ecc_info[] = {
    0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x06,
    0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04,
};
constexpr std::uint8_t rsa_info[] = {
    0x30, 0x82, 0x01, 0x22, 0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01,
    0x05, 0x00, 0x03, 0x82, 0x01, 0x0F, 0x00, 0x30, 0x82, 0x01, 0x0A, 0x02, 0x82, 0x01, 0x01, 0x00,
};
constexpr std::uint8_t rsa_exponent[] = {0x02, 0x03, 0x01, 0x00, 0x01};  // 65537

// Everything up to the numbers of the key.
void write_head(key_type type, tpm::writer& out) {
    const bool ecc = type == key_type::ecc_p256;
    out.u16(ecc ? tpm::alg_ecc : tpm::alg_rsa).u16(tpm::alg_sha256).u32(template_attributes).sized({});
    out.u16(tpm::alg_null).u16(ecc ? tpm::alg_ecdsa : tpm::alg_rsassa).u16(tpm::alg_sha256);
    if (ecc) {
        out.u16(tpm::curve_p256).u16(tpm::alg_null);
    } else {
        out.u16(rsa_bits).u32(0);
    }
}

std::vector<std::uint8_t> head_of(key_type type) {
    tpm::writer out;
    write_head(type, out);
    return out.take();
}

// What a public area says of itself, with views into it.
struct public_area {
    std::uint16_t type = 0;
    std::uint32_t attributes = 0;
    std::size_t head_size = 0;
    byte_view first;   // the modulus, or the x coordinate
    byte_view second;  // the y coordinate
};

// An algorithm and, unless it is none, so many bytes of details.
[[nodiscard]] bool skip_scheme(byte_reader& reader, std::size_t details) {
    std::uint16_t algorithm = 0;
    return reader.u16_be(algorithm) && reader.skip(algorithm == tpm::alg_null ? 0 : details);
}

[[nodiscard]] bool read_parameters(byte_reader& reader, std::uint16_t type) {
    constexpr std::size_t cipher_details = 4;  // bits and mode
    constexpr std::size_t hash_details = 2;
    if (!skip_scheme(reader, cipher_details) || !skip_scheme(reader, hash_details)) {
        return false;
    }
    if (type == tpm::alg_rsa) {
        return reader.skip(sizeof(std::uint16_t) + sizeof(std::uint32_t));
    }
    return reader.skip(sizeof(std::uint16_t)) && skip_scheme(reader, hash_details);
}

[[nodiscard]] bool read_public_area(byte_view bytes, public_area& out) {
    byte_reader reader(bytes);
    std::uint16_t name_algorithm = 0;
    byte_view policy;
    if (!reader.u16_be(out.type) || (out.type != tpm::alg_rsa && out.type != tpm::alg_ecc) ||
        !reader.u16_be(name_algorithm) || !reader.u32_be(out.attributes) || !tpm::read_sized(reader, policy) ||
        !read_parameters(reader, out.type)) {
        return false;
    }
    out.head_size = reader.position();
    const bool ecc = out.type == tpm::alg_ecc;
    return tpm::read_sized(reader, out.first) && (!ecc || tpm::read_sized(reader, out.second)) && reader.at_end();
}

key_handle decode_key(byte_view der) {
    const std::uint8_t* end = der.data();
    return key_handle(der.empty() ? nullptr : d2i_PUBKEY(nullptr, &end, static_cast<long>(der.size())));
}

// Some TPMs leave the leading zeros of a coordinate out.
void write_coordinate(byte_view value, tpm::writer& out) {
    constexpr std::array<std::uint8_t, p256_number_size> zeros{};
    out.bytes(byte_view(zeros).first(p256_number_size - value.size())).bytes(value);
}

// The SubjectPublicKeyInfo; empty for numbers that are too long or too short for the type.
std::vector<std::uint8_t> ecc_key_info(byte_view x, byte_view y) {
    if (x.size() > p256_number_size || y.size() > p256_number_size) {
        return {};
    }
    tpm::writer der;
    der.bytes(ecc_info);
    write_coordinate(x, der);
    write_coordinate(y, der);
    return der.take();
}

std::vector<std::uint8_t> rsa_key_info(byte_view modulus) {
    constexpr std::uint8_t top_bit = 0x80;
    if (modulus.size() != rsa_2048_size || (modulus.front() & top_bit) == 0) {
        return {};
    }
    return tpm::writer().bytes(rsa_info).bytes(modulus).bytes(rsa_exponent).take();
}

std::optional<key_name> name_of(std::initializer_list<byte_view> parts) {
    constexpr std::size_t algorithm_size = 2;
    key_name out{0, tpm::alg_sha256};
    const bool hashed = ok(hasher::sha256().hash(parts, std::span(out).subspan(algorithm_size)));
    return hashed ? std::optional(out) : std::nullopt;
}

}  // namespace

const char* key_type_name(key_type type) {
    return type == key_type::ecc_p256 ? "ecc-p256" : "rsa-2048";
}

std::vector<std::uint8_t> key_template(key_type type) {
    tpm::writer out;
    write_head(type, out);
    out.sized({});
    return type == key_type::ecc_p256 ? out.sized({}).take() : out.take();
}

std::optional<attestation_key> read_attestation_key(byte_view bytes) {
    public_area area;
    if (bytes.size() > max_public_area_size || !read_public_area(bytes, area)) {
        return std::nullopt;
    }
    const std::optional<key_name> name = name_of({bytes});
    if (!name) {
        return std::nullopt;
    }
    attestation_key out;
    out.type = area.type == tpm::alg_ecc ? key_type::ecc_p256 : key_type::rsa_2048;
    out.name = *name;
    out.attributes = area.attributes;
    out.of_template = equal_bytes(bytes.first(area.head_size), head_of(out.type));
    start_openssl();
    if (out.of_template) {
        out.info = out.type == key_type::ecc_p256 ? ecc_key_info(area.first, area.second) : rsa_key_info(area.first);
        out.key = decode_key(out.info);
    }
    return out;
}

std::string public_key_pem(const attestation_key& key) {
    const bio_handle memory(BIO_new(BIO_s_mem()));
    if (!memory || !key.key ||
        PEM_write_bio(memory.get(), PEM_STRING_PUBLIC, "", key.info.data(), static_cast<long>(key.info.size())) <=
            0) {
        return "";
    }
    const std::uint8_t* data = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &data);
    return size > 0 ? std::string(data, data + size) : "";
}

std::optional<key_name> qualified_name(const key_name& name) {
    return name_of({tpm::writer().u32(tpm::endorsement_hierarchy).take(), name});
}

}  // namespace vellum
