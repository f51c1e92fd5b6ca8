// Issues X.509 certificates (RFC 5280) and the keys that go with them: well-formed by default, with a knob for what a
// trust decision looks at.
#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace vellum::lab {

enum class key_kind { rsa_768, rsa_1024, rsa_2048, rsa_3072, ec_p256 };

// A private key, generated when it is first asked for: the same kind and number give the same key until the program
// ends. Null when the library refuses.
EVP_PKEY* private_key(key_kind kind, unsigned number = 0);

// The DER SubjectPublicKeyInfo of the key's public part.
std::vector<std::uint8_t> public_key_der(EVP_PKEY* key);

// PKCS#1 v1.5 over SHA-256 for an RSA key, big-endian.
std::vector<std::uint8_t> sign_data(EVP_PKEY* key, byte_view data);

struct certificate_plan {
    std::string name;                         // common name of the subject
    EVP_PKEY* key = nullptr;                  // the subject's
    std::int64_t not_before = 1'577'836'800;  // seconds since 1970-01-01 UTC: 2020-01-01
    std::int64_t not_after = 4'102'444'799;   // 2099-12-31 23:59:59
    std::optional<bool> is_ca;                // the basic constraints; none: no such extension
    std::optional<unsigned> path_length;      // certificate authorities that may follow; needs is_ca
    std::string key_usage;                    // such as "keyCertSign"; empty: no such extension
    int version = 3;
    unsigned serial = 1;
    const char* digest = "SHA256";
};

struct issued_certificate {
    std::vector<std::uint8_t> der;  // empty when the library refuses
    std::string name;
    EVP_PKEY* key = nullptr;
};

certificate_plan authority(std::string_view name, unsigned key_number);
certificate_plan leaf(std::string_view name, unsigned key_number);

issued_certificate self_signed(const certificate_plan& plan);
issued_certificate issue(const certificate_plan& plan, const issued_certificate& issuer);

// A PEM block of the bytes, whatever they are.
std::string pem(byte_view der, const char* label = "CERTIFICATE");

}  // namespace vellum::lab
