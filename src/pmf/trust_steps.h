// The steps of verify_pmf_trust(), for those who want to know of each of them. Reasons are
// findings.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <span>
#include <string>

#include "base/result.h"
#include "base/text.h"
#include "core/log.h"
#include "core/times.h"
#include "platform/clock.h"
#include "pmf/certificate.h"
#include "pmf/format.h"
#include "pmf/trust.h"

namespace vellum {

inline constexpr const char* certificate_extension_name = "PMF::CertificateExtension";
inline constexpr const char* expire_date_name = "PMF::ManifestHeader.ExpireDate";

// One moment as the messages show it.
struct shown_time {
    shown_time(std::int64_t seconds, clock& time)
        : local(local_time_string(seconds, time.utc_offset()).value_or("(unknown)")),
          utc(utc_time_string(seconds).value_or("(unknown)")) {}
    std::string local;
    std::string utc;
};

// A certificate and what messages call it. It is not owned; null when there is none.
struct named_certificate {
    X509* certificate = nullptr;
    const char* name = "";
};

// Demands that the certificate holds the RSA key of the manifest header; check_failed when it holds another.
result check_header_key(const PmfDocument& document, const named_certificate& named);

// What a decision is about, and what its steps have found so far.
struct trust_case {
    const PmfDocument& document;
    const pmf_trust_settings& settings;
    directory_listing& listing;
    clock& time;
    certificate_handle embedded = nullptr;  // of the PMF
    certificate_handle external = nullptr;
    bool certificate_refused = false;  // there is one that cannot be used: none is missing
    bool warned = false;
    certificate_chain chain = {};

    // The embedded certificate, else the external one.
    named_certificate manufacturer() const;
};

enum class trust_question {
    expiry,
    embedded_certificate,
    signature,
    header_key,  // that the embedded certificate holds it
    external_certificate,
    signing_mode,  // that it is not pseudo-signed; this and the next three are asked with signing enabled only
    manufacturer,  // that there is a certificate at all
    certificate_dates,
    chain,
    certificate_outlives,  // this and the next one only warn, and are asked without signing enabled only
    signer,
};

// A step asks one question. Without the certificate that it is about it has nothing to say.
struct trust_step {
    trust_question question;
    result (*ask)(trust_case&);
};

// In the order in which a decision takes them, up to the first that fails. Any may also be taken after one that
// failed.
std::span<const trust_step> pmf_trust_steps();

// The steps about who vouches for the signing key.
result require_production_signature(trust_case& it);
result require_manufacturer(trust_case& it);
result require_valid_dates(trust_case& it);
result require_trusted_chain(trust_case& it);
result warn_of_early_expiry(trust_case& it);
result warn_of_odd_signer(trust_case& it);

// Whether the certificate is valid for as long as the PMF is; raises a warning when it is not, or that cannot be
// told.
[[nodiscard]] bool certificate_outlives_pmf(const PmfDocument& document, const named_certificate& manufacturer,
                                            clock& time);

}  // namespace vellum
