#include <openssl/bn.h>
#include <openssl/evp.h>

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
        report("certificate-key-algorithm"_id,
               "%s contains unsupported subject public key algorithm: actual (%s), expected (%s).", named.name,
               algorithm.c_str(), expected_algorithm);
        return result::check_failed;
    }
    EVP_PKEY* const key = X509_get0_pubkey(named.certificate);
    out = key == nullptr ? nullptr : EVP_PKEY_get0_RSA(key);
    if (out == nullptr) {
        log_at(log_level::error, "X509_get0_pubkey() failed - %s.\n", openssl_error_text().c_str());
        return result::check_failed;
    }
    return result::success;
}

bool same_key(const RSA& header, const RSA& certificate, const char* name) {
    if (BN_cmp(RSA_get0_e(&header), RSA_get0_e(&certificate)) != 0) {
        log_at(log_level::error,
               "Exponents of public key from the PMF::ManifestHeader and from the %s do not match.\n", name);
        return false;
    }
    if (BN_cmp(RSA_get0_n(&header), RSA_get0_n(&certificate)) != 0) {
        log_at(log_level::error, "Moduli of public key from the PMF::ManifestHeader and from the %s do not match.\n",
               name);
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
        report("certificate-key-differs"_id,
               "Public key from the %s does not match the public key from the PMF::ManifestHeader", named.name);
        return result::check_failed;
    }
    return result::success;
}

}  // namespace vellum
