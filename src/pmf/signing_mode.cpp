#include <optional>

#include "core/log.h"
#include "pmf/certificate.h"
#include "pmf/certificate_chain.h"
#include "pmf/dates.h"
#include "pmf/trust_steps.h"

namespace vellum {
namespace {

result require_trust(const named_certificate& manufacturer, const pmf_trust_settings& settings,
                     directory_listing& listing) {
    if (manufacturer.certificate == nullptr) {
        static_cast<void>(
            push_message("Missing manufacturer certificate for the PMF. Certificate shall be included in %s or "
                         "provided externally in the tool configuration.",
                         certificate_extension_name));
        return result::invalid;
    }
    const result in_time = check_certificate_dates(*manufacturer.certificate);
    if (!ok(in_time)) {
        return in_time;
    }
    bool verified = false;
    const result tried = verify_certificate_chain(*manufacturer.certificate, settings.trusted_ca_dir,
                                                  settings.intermediate_ca_dir, listing, verified);
    if (!ok(tried)) {
        static_cast<void>(push_message("Failed to build trust to the %s.", manufacturer.name));
        return tried;
    }
    if (!verified) {
        static_cast<void>(push_message("%s is not trusted.", manufacturer.name));
        return result::check_failed;
    }
    log_at(log_level::debug, "%s is trusted.\n", manufacturer.name);
    return result::success;
}

bool self_signed_or_warn(const named_certificate& manufacturer) {
    bool self_signed = false;
    if (!ok(is_self_signed(*manufacturer.certificate, self_signed))) {
        static_cast<void>(push_message(
            "WARNING: An error occurred while trying to determine whether %s is self-signed.", manufacturer.name));
        return false;
    }
    if (!self_signed) {
        static_cast<void>(
            push_message("WARNING: PMF is pseudo-signed but %s is not self-signed.", manufacturer.name));
    }
    return self_signed;
}

bool outlives_pmf_or_warn(const PmfDocument& document, const named_certificate& manufacturer) {
    const std::optional<std::int64_t> expiry = pmf_expiry_instant(document.header.expire_date);
    if (!expiry) {
        static_cast<void>(push_message("WARNING: Could not extract %s to validate %s expiration date.",
                                       expire_date_name, manufacturer.name));
        return false;
    }
    certificate_times times;
    if (!ok(read_certificate_times(*manufacturer.certificate, times))) {
        static_cast<void>(push_message("WARNING: Could not extract %s parameters to validate its expiration date.",
                                       manufacturer.name));
        return false;
    }
    if (times.not_after >= *expiry) {
        return true;
    }
    const shown_time pmf_end(*expiry);
    const shown_time certificate_end(times.not_after);
    // Printed newest first: the heading is pushed last.
    static_cast<void>(push_message("    Certificate Valid To: %s (%s)", certificate_end.local.c_str(),
                                   certificate_end.utc.c_str()));
    static_cast<void>(push_message("    PMF Expiry Date: %s (%s)", pmf_end.local.c_str(), pmf_end.utc.c_str()));
    static_cast<void>(push_message(
        "WARNING: The PMF signing certificate (embedded in PMF::CertificateExtension) expires before the PMF."));
    return false;
}

// False when any oddity was pushed.
bool validate_unrequired(const PmfDocument& document, const named_certificate& manufacturer) {
    bool clean = outlives_pmf_or_warn(document, manufacturer);
    if (document.header.pseudo_signed()) {
        clean = self_signed_or_warn(manufacturer) && clean;
    } else {
        static_cast<void>(push_message(
            "WARNING: PMF signing has been disabled in configuration file but provided PMF is production-signed."));
        clean = false;
    }
    if (clean) {
        log_at(log_level::debug, "%s additional validation succeeded.\n", manufacturer.name);
    }
    return clean;
}

}  // namespace

result check_signing_mode(const PmfDocument& document, const pmf_trust_settings& settings,
                          const named_certificate& manufacturer, directory_listing& listing, bool& warned) {
    if (!settings.signing_enabled) {
        warned = manufacturer.certificate != nullptr && !validate_unrequired(document, manufacturer);
        return result::success;
    }
    if (document.header.pseudo_signed()) {
        static_cast<void>(push_message(
            "PMF signing has been enabled in the configuration file but provided PMF is only pseudo-signed."));
        return result::check_failed;
    }
    return require_trust(manufacturer, settings, listing);
}

}  // namespace vellum
