#include "tpm/attestation/quote.h"

#include <openssl/ec.h>
#include <openssl/evp.h>

#include <tuple>
#include <utility>

#include "base/text.h"
#include "tpm/attestation/tpm_numbers.h"

namespace vellum {
namespace {

[[nodiscard]] bool read_clock(byte_reader& reader, quote& out) {
    std::uint8_t safe = 0;
    if (!reader.u64_be(out.clock) || !reader.u32_be(out.reset_count) || !reader.u32_be(out.restart_count) ||
        !reader.u8(safe) || safe > 1) {
        return false;
    }
    out.safe = safe == 1;
    return true;
}

// The selection of all PCRs of the bank may stand among selections of none.
[[nodiscard]] bool read_selections(byte_reader& reader, bool& all_pcrs) {
    constexpr std::uint32_t max_selections = 16;
    constexpr std::size_t all_selected_size = pcr_count / 8;
    std::uint32_t count = 0;
    if (!reader.u32_be(count) || count > max_selections) {
        return false;
    }
    unsigned wanted = 0;
    unsigned others = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint16_t bank = 0;
        std::uint8_t size = 0;
        byte_view selected;
        if (!reader.u16_be(bank) || !reader.u8(size) || !reader.view(size, selected)) {
            return false;
        }
        const bool all = bank == tpm::alg_sha256 && size == all_selected_size && all_of_value(selected, 0xFF);
        wanted += all ? 1 : 0;
        others += all || all_zero(selected) ? 0 : 1;
    }
    all_pcrs = wanted == 1 && others == 0;
    return true;
}

number_handle number_of(byte_view bytes) {
    return number_handle(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

// As the library takes it: the two numbers in DER.
std::vector<std::uint8_t> ecdsa_der(const quote_signature& signature) {
    using signature_handle = openssl_handle<ECDSA_SIG, ECDSA_SIG_free>;
    if (signature.first.size() > p256_number_size || signature.second.size() > p256_number_size) {
        return {};
    }
    const signature_handle made(ECDSA_SIG_new());
    number_handle r = number_of(signature.first);
    number_handle s = number_of(signature.second);
    if (!made || !r || !s || ECDSA_SIG_set0(made.get(), r.get(), s.get()) != 1) {
        return {};
    }
    std::ignore = r.release();  // the signature owns both now
    std::ignore = s.release();
    const int size = i2d_ECDSA_SIG(made.get(), nullptr);
    std::vector<std::uint8_t> der(size > 0 ? static_cast<std::size_t>(size) : 0);
    std::uint8_t* end = der.data();
    return !der.empty() && i2d_ECDSA_SIG(made.get(), &end) == size ? der : std::vector<std::uint8_t>();
}

std::vector<std::uint8_t> library_form(const quote_signature& signature) {
    if (signature.type == key_type::ecc_p256) {
        return ecdsa_der(signature);
    }
    return signature.first.size() == rsa_2048_size
               ? std::vector<std::uint8_t>(signature.first.begin(), signature.first.end())
               : std::vector<std::uint8_t>();
}

}  // namespace

std::optional<std::vector<std::uint8_t>> parse_nonce(std::string_view digits) {
    std::optional<std::vector<std::uint8_t>> nonce = parse_hex(digits);
    const bool fits = nonce && nonce->size() >= min_nonce_size && nonce->size() <= max_nonce_size;
    return fits ? std::move(nonce) : std::nullopt;
}

std::optional<quote> read_quote(byte_view bytes) {
    byte_reader reader(bytes);
    quote out;
    std::uint32_t head = 0;
    std::uint16_t tag = 0;
    if (bytes.size() > max_quote_size || !reader.u32_be(head) || !reader.u16_be(tag) ||
        !tpm::read_sized(reader, out.signer) || !tpm::read_sized(reader, out.nonce) || !read_clock(reader, out) ||
        !reader.u64_be(out.firmware_version)) {
        return std::nullopt;
    }
    out.by_tpm = head == tpm::generated_value;
    out.is_quote = tag == tpm::tag_attest_quote;
    if (!out.is_quote) {
        return out;
    }
    const bool whole =
        read_selections(reader, out.all_pcrs) && tpm::read_sized(reader, out.pcr_digest) && reader.at_end();
    return whole ? std::optional(out) : std::nullopt;
}

std::optional<quote_signature> read_quote_signature(byte_view bytes) {
    byte_reader reader(bytes);
    quote_signature out;
    std::uint16_t algorithm = 0;
    std::uint16_t hash = 0;
    if (bytes.size() > max_signature_size || !reader.u16_be(algorithm) ||
        (algorithm != tpm::alg_ecdsa && algorithm != tpm::alg_rsassa) || !reader.u16_be(hash)) {
        return std::nullopt;
    }
    const bool ecc = algorithm == tpm::alg_ecdsa;
    out.type = ecc ? key_type::ecc_p256 : key_type::rsa_2048;
    out.sha256 = hash == tpm::alg_sha256;
    const bool whole =
        tpm::read_sized(reader, out.first) && (!ecc || tpm::read_sized(reader, out.second)) && reader.at_end();
    return whole ? std::optional(out) : std::nullopt;
}

bool signature_holds(const attestation_key& key, const quote_signature& signature, byte_view quote) {
    start_openssl();
    const std::vector<std::uint8_t> form = library_form(signature);
    const digest_context context(EVP_MD_CTX_new());
    return key.key && key.type == signature.type && signature.sha256 && !form.empty() && context &&
           EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.key.get()) == 1 &&
           EVP_DigestVerify(context.get(), form.data(), form.size(), quote.data(), quote.size()) == 1;
}

std::optional<sha256_value> digest_of_pcrs(const pcr_value_list& values) {
    hasher all = hasher::sha256();
    bool hashed = ok(all.start());
    for (const pcr_value& value : values) {
        hashed = hashed && ok(all.add(value));
    }
    sha256_value out{};
    return hashed && ok(all.finish(out)) ? std::optional(out) : std::nullopt;
}

}  // namespace vellum
