#include <openssl/bn.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/openssl.h"
#include "pmf/certificate.h"
#include "pmf/signature.h"
#include "pmf/trust_steps.h"

namespace vellum {
namespace {

constexpr const char* expected_algorithm = "rsaEncryption";

result get_rsa_key(const named_certificate& named, const RSA*& out) {
    const std::string algorithm = key_algorithm_text(*named.certificate);
    if (algorithm != expected_algorithm) {
        about_certificate(report("certificate-key-algorithm"_id,
                                 "%s contains unsupported subject public key algorithm: actual (%s), expected (%s).",
                                 named.name, algorithm.c_str(), expected_algorithm)
                              .field("expected", expected_algorithm)
                              .field("actual", algorithm),
                          *named.certificate);
        return result::check_failed;
    }
    EVP_PKEY* const key = X509_get0_pubkey(named.certificate);
    out = key == nullptr ? nullptr : EVP_PKEY_get0_RSA(key);
    if (out == nullptr) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "X509_get0_pubkey() failed - %s.\n", reason.c_str());
        about_certificate(note("certificate-rsa-key-missing"_id).field("value", reason), *named.certificate);
        return result::check_failed;
    }
    return result::success;
}

std::string number_text(const BIGNUM* number) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, bytes.data());
    return lower_hex(bytes);
}

bool same_key(const RSA& header, const RSA& certificate, const char* name) {
    if (BN_cmp(RSA_get0_e(&header), RSA_get0_e(&certificate)) != 0) {
        log_at(log_level::error,
               "Exponents of public key from the PMF::ManifestHeader and from the %s do not match.\n", name);
        note("header-key-exponent-differs"_id)
            .field("expected", number_text(RSA_get0_e(&header)))
            .field("actual", number_text(RSA_get0_e(&certificate)));
        return false;
    }
    if (BN_cmp(RSA_get0_n(&header), RSA_get0_n(&certificate)) != 0) {
        log_at(log_level::error, "Moduli of public key from the PMF::ManifestHeader and from the %s do not match.\n",
               name);
        note("header-key-modulus-differs"_id)
            .field("expected", number_text(RSA_get0_n(&header)))
            .field("actual", number_text(RSA_get0_n(&certificate)));
        return false;
    }
    return true;
}

}  // namespace

result check_header_key(const PmfDocument& document, const named_certificate& named) {
    start_openssl();
    const RSA* certificate_key = nullptr;
    RETURN_IF_FAILED(get_rsa_key(named, certificate_key));
    rsa_key header_key;
    RETURN_IF_FAILED(manifest_public_key(document, header_key));
    if (!same_key(*header_key, *certificate_key, named.name)) {
        about_certificate(
            report("certificate-key-differs"_id,
                   "Public key from the %s does not match the public key from the PMF::ManifestHeader", named.name)
                .field("expected_source", "PMF::ManifestHeader")
                .field("actual_source", named.name),
            *named.certificate);
        return result::check_failed;
    }
    return result::success;
}

}  // namespace vellum
