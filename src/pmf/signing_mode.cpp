#include <optional>

#include "core/findings.h"
#include "core/log.h"
#include "pmf/certificate.h"
#include "pmf/certificate_chain.h"
#include "pmf/dates.h"
#include "pmf/trust_steps.h"

namespace vellum {
namespace {

bool self_signed_or_warn(const named_certificate& manufacturer) {
    bool self_signed = false;
    if (!ok(is_self_signed(*manufacturer.certificate, self_signed))) {
        about_certificate(report("certificate-self-signing-unknown"_id,
                                 "WARNING: An error occurred while trying to determine whether %s is self-signed.",
                                 manufacturer.name),
                          *manufacturer.certificate);
        return false;
    }
    if (!self_signed) {
        about_certificate(report("certificate-not-self-signed"_id,
                                 "WARNING: PMF is pseudo-signed but %s is not self-signed.", manufacturer.name),
                          *manufacturer.certificate);
    }
    return self_signed;
}

}  // namespace

result require_production_signature(trust_case& it) {
    if (!it.settings.signing_enabled || !it.document.header.pseudo_signed()) {
        return result::success;
    }
    report("pmf-only-pseudo-signed"_id,
           "PMF signing has been enabled in the configuration file but provided PMF is only pseudo-signed.")
        .field("key", "PMFSigningEnabled");
    return result::check_failed;
}

result require_manufacturer(trust_case& it) {
    if (!it.settings.signing_enabled || it.manufacturer().certificate != nullptr || it.certificate_refused) {
        return result::success;
    }
    report(
        "certificate-missing"_id,
        "Missing manufacturer certificate for the PMF. Certificate shall be included in %s or provided externally in the tool configuration.",
        certificate_extension_name)
        .field("key", "PMFExternalCertificatePath");
    return result::invalid;
}

result require_valid_dates(trust_case& it) {
    X509* const certificate = it.manufacturer().certificate;
    return it.settings.signing_enabled && certificate != nullptr
               ? check_certificate_dates(*certificate, it.time.now())
               : result::success;
}

result require_trusted_chain(trust_case& it) {
    const named_certificate manufacturer = it.manufacturer();
    if (!it.settings.signing_enabled || manufacturer.certificate == nullptr) {
        return result::success;
    }
    const result tried =
        verify_certificate_chain(*manufacturer.certificate, it.settings.trusted_ca_dir,
                                 it.settings.intermediate_ca_dir, it.listing, it.time.now(), it.chain);
    if (!ok(tried)) {
        about_certificate(report("certificate-trust-failed"_id, "Failed to build trust to the %s.", manufacturer.name)
                              .field("directory", it.settings.trusted_ca_dir),
                          *manufacturer.certificate);
        return tried;
    }
    if (!it.chain.verified) {
        about_certificate(report("certificate-untrusted"_id, "%s is not trusted.", manufacturer.name)
                              .field("directory", it.settings.trusted_ca_dir),
                          *manufacturer.certificate);
        return result::check_failed;
    }
    log_at(log_level::debug, "%s is trusted.\n", manufacturer.name);
    return result::success;
}

bool certificate_outlives_pmf(const PmfDocument& document, const named_certificate& manufacturer, clock& time) {
    const std::optional<std::int64_t> expiry = pmf_expiry_instant(document.header.expire_date, time);
    if (!expiry) {
        report("pmf-expiry-against-certificate-unknown"_id,
               "WARNING: Could not extract %s to validate %s expiration date.", expire_date_name, manufacturer.name)
            .field("value", document.header.expire_date);
        return false;
    }
    certificate_times times;
    if (!ok(read_certificate_times(*manufacturer.certificate, times))) {
        about_certificate(
            report("certificate-expiry-unknown"_id,
                   "WARNING: Could not extract %s parameters to validate its expiration date.", manufacturer.name),
            *manufacturer.certificate);
        return false;
    }
    if (times.not_after >= *expiry) {
        return true;
    }
    const shown_time pmf_end(*expiry, time);
    const shown_time certificate_end(times.not_after, time);
    const finding_lines raised =
        report("certificate-expires-before-pmf"_id,
               "WARNING: The PMF signing certificate (embedded in PMF::CertificateExtension) expires before the PMF.")
            .line("    PMF Expiry Date: %s (%s)", pmf_end.local.c_str(), pmf_end.utc.c_str())
            .line("    Certificate Valid To: %s (%s)", certificate_end.local.c_str(), certificate_end.utc.c_str())
            .field("not_after", times.not_after)
            .field("limit", *expiry);
    about_certificate(raised, *manufacturer.certificate);
    return false;
}

result warn_of_early_expiry(trust_case& it) {
    const named_certificate manufacturer = it.manufacturer();
    if (!it.settings.signing_enabled && manufacturer.certificate != nullptr &&
        !certificate_outlives_pmf(it.document, manufacturer, it.time)) {
        it.warned = true;
    }
    return result::success;
}

result warn_of_odd_signer(trust_case& it) {
    const named_certificate manufacturer = it.manufacturer();
    if (it.settings.signing_enabled || manufacturer.certificate == nullptr) {
        return result::success;
    }
    if (!it.document.header.pseudo_signed()) {
        report("pmf-production-signed"_id,
               "WARNING: PMF signing has been disabled in configuration file but provided PMF is production-signed.")
            .field("key", "PMFSigningEnabled");
        it.warned = true;
    } else if (!self_signed_or_warn(manufacturer)) {
        it.warned = true;
    }
    if (!it.warned) {
        log_at(log_level::debug, "%s additional validation succeeded.\n", manufacturer.name);
    }
    return result::success;
}

}  // namespace vellum
