#include "pmf/signature.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <algorithm>
#include <new>
#include <tuple>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/openssl.h"

namespace vellum {
namespace {

constexpr int supported_key_bits = 2048;
constexpr int sha256_key_bytes = 256;

constexpr std::uint8_t signed_trailing_byte = 0xFF;  // stands for each trailing byte, whatever the file holds there

result log_failure(result failure, const char* text) {
    log_at(log_level::error, "%s", text);
    note("rsa-check-failed"_id).field("value", without_line_end(text));
    return failure;
}

number_handle number_le(byte_view field, std::uint32_t dwords) {
    if (dwords > field.size() / pmf_dword_size) {
        return nullptr;
    }
    return number_handle(BN_lebin2bn(field.data(), static_cast<int>(dwords * pmf_dword_size), nullptr));
}

result make_public_key(const PMF::ManifestHeader& header, rsa_key& out) {
    rsa_key key(RSA_new());
    if (!key) {
        return log_failure(result::io_failure, "RSA_new() failed.\n");
    }
    number_handle exponent = number_le(header.exponent, header.exponent_size);
    number_handle modulus = number_le(header.modulus, header.modulus_size);
    if (!exponent || !modulus) {
        return log_failure(result::io_failure, "BN_lebin2bn() failed.\n");
    }
    if (RSA_set0_key(key.get(), modulus.get(), exponent.get(), nullptr) != 1) {
        return log_failure(result::io_failure, "RSA_set0_key() failed.\n");
    }
    std::ignore = modulus.release();  // the key owns both now
    std::ignore = exponent.release();
    out = std::move(key);
    return result::success;
}

const EVP_MD* digest_for_rsa_key(const RSA& key) {
    const int size = RSA_size(&key);
    if (size != sha256_key_bytes) {
        log_at(log_level::error, "No hash function was found for RSA key with size %d.\n", size);
        note("rsa-key-size-without-digest"_id).field("expected", sha256_key_bytes).field("actual", size);
        return nullptr;
    }
    log_at(log_level::trace, "[Signature]: Set SHA%d for RSA key.\n", 256);
    return EVP_sha256();
}

// What the library makes of the signature: 1 valid, 0 invalid, anything else an error of its own.
bool signature_is_valid(int verdict) {
    if (verdict == 1) {
        log_at(log_level::trace, "[Signature]: Signature verified successfully.\n");
        return true;
    }
    if (verdict == 0) {
        log_at(log_level::trace, "[Signature]: Signature verified failed.\n");
    } else {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "[Signature]: Signature verified failed. Occurred a more serious error %s.\n",
               reason.c_str());
        note("rsa-signature-error"_id).field("value", reason);
    }
    return false;
}

std::vector<std::uint8_t> signed_data(const PmfDocument& document) {
    std::size_t size = pmf_signed_header_size + document.trailing_bytes;
    for (const pmf_extension& extension : document.extensions) {
        size += extension.bytes.size();
    }
    std::vector<std::uint8_t> data;
    data.reserve(size);
    const byte_view header = byte_view(document.header_bytes).first(pmf_signed_header_size);
    data.assign(header.begin(), header.end());
    for (const pmf_extension& extension : document.extensions) {
        if (extension.length != 0) {
            data.insert(data.end(), extension.bytes.begin(), extension.bytes.end());
        }
    }
    data.insert(data.end(), document.trailing_bytes, signed_trailing_byte);
    return data;
}

}  // namespace

result decode_public_key(byte_view der, rsa_key& out) {
    start_openssl();
    const std::uint8_t* end = der.data();
    rsa_key key(der.empty() ? nullptr : d2i_RSA_PUBKEY(nullptr, &end, static_cast<long>(der.size())));
    if (!key || end != der.data() + der.size()) {
        return log_failure(result::io_failure, "Cannot encode public key.\n");
    }
    out = std::move(key);
    return result::success;
}

result check_rsa_public_key(const RSA& key) {
    const BIGNUM* modulus = nullptr;
    const BIGNUM* public_exponent = nullptr;
    const BIGNUM* private_exponent = nullptr;
    RSA_get0_key(&key, &modulus, &public_exponent, &private_exponent);
    // A key without modulus has no length; it is reported as what it is.
    if (modulus != nullptr && BN_num_bits(modulus) != supported_key_bits) {
        log_at(log_level::error, "Not supporting RSA key length: %d. Provide %d key length.\n", BN_num_bits(modulus),
               supported_key_bits);
        note("rsa-key-length-differs"_id).field("expected", supported_key_bits).field("actual", BN_num_bits(modulus));
        return result::io_failure;
    }
    if (private_exponent != nullptr) {
        return log_failure(result::io_failure, "Public key has private exponent.\n");
    }
    if (modulus == nullptr || public_exponent == nullptr) {
        return log_failure(result::io_failure,
                           "Error validating public RSA key. Public key doesn't have modulus or public exponent.\n");
    }
    if (BN_is_odd(public_exponent) == 0 || BN_is_one(public_exponent) == 1) {
        return log_failure(result::io_failure,
                           "Error validating RSA public key. Public key doesn't have valid public exponent.\n");
    }
    log_at(log_level::trace, "[Signature]: RSA public key is valid. Key length is: %d\n", supported_key_bits);
    return result::success;
}

result verify_rsa_signature(RSA& key, byte_view signature, byte_view data, bool& verified) {
    start_openssl();
    verified = false;
    const key_handle wrapped(EVP_PKEY_new());
    const digest_context context(EVP_MD_CTX_new());
    if (!wrapped || !context || EVP_PKEY_set1_RSA(wrapped.get(), &key) != 1) {
        return log_failure(result::internal_failure, "Setting up verify context failed.\n");
    }
    const EVP_MD* digest = digest_for_rsa_key(key);
    if (digest == nullptr) {
        return result::internal_failure;
    }
    if (EVP_DigestVerifyInit(context.get(), nullptr, digest, nullptr, wrapped.get()) != 1) {
        return log_failure(result::internal_failure, "Setting hash function failed.\n");
    }
    if (EVP_DigestVerifyUpdate(context.get(), data.data(), data.size()) != 1) {
        return log_failure(result::internal_failure, "Collecting data to be verified failed.\n");
    }
    verified = signature_is_valid(EVP_DigestVerifyFinal(context.get(), signature.data(), signature.size()));
    return result::success;
}

result manifest_public_key(const PmfDocument& document, rsa_key& out) {
    start_openssl();
    rsa_key key;
    RETURN_IF_FAILED(make_public_key(document.header, key));
    RETURN_IF_FAILED(check_rsa_public_key(*key));
    out = std::move(key);
    return result::success;
}

result verify_pmf_signature(const PmfDocument& document, bool& verified) {
    verified = false;
    rsa_key key;
    RETURN_IF_FAILED(manifest_public_key(document, key));
    auto signature = document.header.signature;
    std::reverse(signature.begin(), signature.end());
    try {
        return verify_rsa_signature(*key, signature, signed_data(document), verified);
    } catch (const std::bad_alloc&) {
        return log_failure(result::internal_failure, "Memory error occurred, malloc() failed.\n");
    }
}

}  // namespace vellum
