// One X.509 certificate (RFC 5280): decoding, names, dates, fingerprint and public key.
//
// Times are seconds since 1970-01-01 UTC. Failures of the library are logged with its own text; what a certificate
// violates is a finding.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"
#include "core/findings.h"
#include "core/openssl.h"

namespace vellum {

using certificate_handle = openssl_handle<X509, X509_free>;

inline constexpr std::uint64_t max_certificate_file_size = std::uint64_t{1024} * 1024;  // bytes

struct certificate_times {
    std::int64_t not_before = 0;
    std::int64_t not_after = 0;
};

// The certificate must end where the view ends; else invalid, and `out` is unchanged.
result decode_certificate(byte_view der, certificate_handle& out);

// The first certificate of a PEM text, whatever surrounds it. Logs nothing; `reason` says why it is invalid.
result decode_pem_certificate(byte_view pem, certificate_handle& out, std::string& reason);

// Its DER form. Fails with internal_failure.
result encode_certificate(const X509& certificate, std::vector<std::uint8_t>& out);

// The SHA-256 digest of the whole certificate.
result certificate_fingerprint(const X509& certificate, std::vector<std::uint8_t>& out);

result read_certificate_times(const X509& certificate, certificate_times& out);

// Demands that the certificate is valid now; check_failed when it is not.
result check_certificate_dates(const X509& certificate, std::int64_t now);

// On one line, escaped where it is not printable ASCII.
std::string subject_text(const X509& certificate);
std::string issuer_text(const X509& certificate);

// Adds what tells the certificate from others to the finding: "subject", "issuer" and "serial", which is hexadecimal.
finding_lines about_certificate(finding_lines raised, const X509& certificate);

// Whether the basic constraints say that the certificate may issue others. That is the only sign that counts: a
// version 1 certificate that signs itself, a bare key usage and Netscape's own extension, which the library would
// take for one too, can be had by those who never asked for a certificate authority.
[[nodiscard]] bool is_ca_certificate(X509& certificate);

// Issued to itself and signed with its own key. Fails with check_failed when that cannot be told.
result is_self_signed(X509& certificate, bool& out);

// The name of the public key's algorithm, or its dotted number.
std::string key_algorithm_text(const X509& certificate);

}  // namespace vellum
