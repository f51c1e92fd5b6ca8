// The steps of verify_pmf_trust() that are a subject of their own. Reasons are pushed on the deferred stack.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <string>

#include "core/result.h"
#include "core/text.h"
#include "pmf/format.h"
#include "pmf/trust.h"

namespace vellum {

inline constexpr const char* certificate_extension_name = "PMF::CertificateExtension";
inline constexpr const char* expire_date_name = "PMF::ManifestHeader.ExpireDate";

// One moment as the messages show it.
struct shown_time {
    explicit shown_time(std::int64_t seconds)
        : local(local_time_string(seconds).value_or("(unknown)")),
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

// With signing enabled: a production-signed PMF and a manufacturer certificate that is valid and trusted. Without,
// oddities of the certificate are warned about.
result check_signing_mode(const PmfDocument& document, const pmf_trust_settings& settings,
                          const named_certificate& manufacturer, directory_listing& listing, bool& warned);

}  // namespace vellum
