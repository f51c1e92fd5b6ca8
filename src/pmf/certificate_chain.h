// Chains of X.509 certificates (RFC 5280) from one certificate up to a directory of trusted ones.
//
// Files are read to a limit; certificate files that cannot be used are logged and skipped. What explains a negative
// verdict are findings, the cause first.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/result.h"
#include "pmf/certificate.h"

namespace vellum {

class directory_listing;

// What the names of certificate files in a directory end in.
inline constexpr std::string_view certificate_file_extension = ".crt";

struct free_certificates {
    void operator()(STACK_OF(X509) * list) const { sk_X509_pop_free(list, X509_free); }
};
using certificate_list = std::unique_ptr<STACK_OF(X509), free_certificates>;

// From a certificate upwards, as far as the chain was built.
struct certificate_chain {
    certificate_list certificates;
    bool verified = false;  // up to a trusted one, which is the last
};

// Every PEM certificate in a "*.crt" file of the directory, in byte order of the file names; none is a success with
// an empty list. Fails with invalid for a directory that cannot be listed, and `out` is unchanged.
result load_certificate_directory(const std::string& directory, directory_listing& listing, certificate_list& out);

// Builds the chain from the certificate to a CA certificate of the trusted directory, over those of the intermediate
// directory. `out.verified` is the verdict; the result fails only when it could not be sought: no trusted certificate
// (invalid) or a failure of the library (internal_failure).
//
// Partial chains are allowed: each certificate of the trusted directory ends a chain, whether it signs itself or not.
// Every issuer in the chain must be a CA by its basic constraints. Keys must give 80 bits of security, which RSA does
// from 1024 bits on, and signatures must be over a digest that is stronger than SHA-1.
result verify_certificate_chain(X509& certificate, const std::string& trusted_directory,
                                const std::string& intermediate_directory, directory_listing& listing,
                                std::int64_t now, certificate_chain& out);

}  // namespace vellum
