// Whether a PMF can be trusted: its dates, its signature, the manufacturer certificate that goes with the signing
// key, and the chain from that certificate up to a trusted certificate authority (X.509, RFC 5280).
//
// The current time is the run's clock. Paths and directories are those of the configuration; empty means not
// configured. What explains a failure or a warning is pushed on the deferred stack so that it reads from the verdict
// down to the cause when it is printed newest first; everything else is logged. Files are read to a limit, and
// certificate files that cannot be used are logged and skipped.
#pragma once

#include <string>

#include "core/result.h"
#include "pmf/certificate.h"
#include "pmf/format.h"

namespace vellum {

class directory_listing;

struct pmf_trust_settings {
    bool signing_enabled = false;
    std::string trusted_ca_dir;
    std::string intermediate_ca_dir;
    std::string external_certificate_path;
};

// Success means that the PMF may be relied on as far as the settings demand; `warned` that there is something odd
// about it. Without signing_enabled the signature is verified but nobody vouches for the signer.
result verify_pmf_trust(const PmfDocument& document, const pmf_trust_settings& settings, directory_listing& listing,
                        bool& warned);

struct free_certificates {
    void operator()(STACK_OF(X509) * list) const { sk_X509_pop_free(list, X509_free); }
};
using certificate_list = std::unique_ptr<STACK_OF(X509), free_certificates>;

// Every PEM certificate in a "*.crt" file of the directory, in byte order of the file names; none is a success with
// an empty list. Fails with invalid for a directory that cannot be listed, and `out` is unchanged.
result load_certificate_directory(const std::string& directory, directory_listing& listing, certificate_list& out);

// Builds the chain from the certificate to a CA certificate of the trusted directory, over those of the intermediate
// directory. `verified` is the verdict; the result fails only when it could not be sought: no trusted certificate
// (invalid) or a failure of the library (internal_failure).
//
// Partial chains are allowed: each certificate of the trusted directory ends a chain, whether it signs itself or not.
// Every issuer in the chain must be a CA by its basic constraints, and the keys and digests of the signatures must
// give 80 bits of security.
result verify_certificate_chain(X509& certificate, const std::string& trusted_directory,
                                const std::string& intermediate_directory, directory_listing& listing,
                                bool& verified);

}  // namespace vellum
