#include "pmf/trust.h"

#include <optional>
#include <vector>

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "pmf/certificate.h"
#include "pmf/dates.h"
#include "pmf/signature.h"
#include "pmf/trust_steps.h"

namespace vellum {
namespace {

constexpr const char* embedded_name = "PMF::CertificateExtension certificate";
constexpr const char* external_name = "PMF external certificate";
constexpr const char* external_option = "PMFExternalCertificatePath";

result check_expiry(trust_case& it) {
    const std::optional<std::int64_t> expiry = pmf_expiry_instant(it.document.header.expire_date, it.time);
    if (!expiry) {
        report("pmf-expiry-unknown"_id, "Could not extract %s to validate PMF expiration date.", expire_date_name)
            .field("value", it.document.header.expire_date);
        return result::check_failed;
    }
    const std::int64_t now = it.time.now();
    const shown_time end(*expiry, it.time);
    const shown_time current(now, it.time);
    log_at(log_level::debug, "%s expire date timestamp: %llu\n", "PMF", static_cast<unsigned long long>(*expiry));
    log_at(log_level::debug, "PMF expiration time local is equal:%s\n", end.local.c_str());
    log_at(log_level::debug, "PMF expiration time UTC is equal:%s\n", end.utc.c_str());
    log_at(log_level::debug, "Current time UTC is equal: %s\n", current.utc.c_str());
    log_at(log_level::debug, "Current time local is equal: %s\n", current.local.c_str());
    if (now <= *expiry) {
        return result::success;
    }
    report("pmf-expired"_id, "PMF is expired. PMF Expiry Date: %s (%s). Current time: %s (%s).", end.local.c_str(),
           end.utc.c_str(), current.local.c_str(), current.utc.c_str())
        .field("not_after", *expiry)
        .field("now", now);
    return result::check_failed;
}

// What follows the head of the certificate extension; empty when the PMF carries no certificate.
result find_certificate_bytes(const PmfDocument& document, byte_view& out) {
    const pmf_extension* extension = nullptr;
    const result found = find_pmf_extension(document, PmfExtensionType::certificate, extension);
    if (!ok(found)) {
        log_at(log_level::error, "%s was not found in PMF.\n", certificate_extension_name);
        return found;
    }
    if (extension->length < pmf_extension_head_size) {
        report("certificate-extension-length"_id, "%s length (%u) is invalid. Expected at least (%u) bytes.",
               certificate_extension_name, extension->length, static_cast<unsigned>(pmf_extension_head_size))
            .field("size", extension->length)
            .field("expected", pmf_extension_head_size);
        return result::invalid;
    }
    out = pmf_extension_content(*extension);
    return result::success;
}

result load_embedded(trust_case& it) {
    byte_view der;
    const result found = find_certificate_bytes(it.document, der);
    if (!ok(found)) {
        it.certificate_refused = true;
        return found;
    }
    if (der.empty()) {
        log_at(log_level::debug, "%s is empty.\n", certificate_extension_name);
        return result::success;
    }
    const result decoded = decode_certificate(der, it.embedded);
    if (!ok(decoded)) {
        it.certificate_refused = true;
        report("certificate-malformed"_id, "Manufacturer certificate in %s is not a valid x509 certificate.",
               certificate_extension_name)
            .field("size", der.size());
    }
    return decoded;
}

result check_signature(trust_case& it) {
    bool verified = false;
    const result tried = verify_pmf_signature(it.document, verified);
    if (!ok(tried)) {
        report("pmf-signature-unverifiable"_id, "An error occurred while trying to verify PMF signature.");
        return tried;
    }
    if (!verified) {
        report("pmf-signature-invalid"_id, "PMF signature is invalid.");
        return result::check_failed;
    }
    return result::success;
}

result check_embedded_key(trust_case& it) {
    return it.embedded ? check_header_key(it.document, {it.embedded.get(), embedded_name}) : result::success;
}

result read_external(const std::string& path, certificate_handle& out) {
    std::vector<std::uint8_t> content;
    const result read = read_file(path, max_certificate_file_size, content);
    if (!ok(read)) {
        report("certificate-file-unreadable"_id, "Failed to load file \"%s\" provided by %s option in configuration.",
               shown_text(path).c_str(), external_option)
            .field("key", external_option)
            .field("file", path);
        return read;
    }
    std::string reason;
    const result decoded = decode_pem_certificate(content, out, reason);
    if (!ok(decoded)) {
        log_at(log_level::debug, "Parsing certificate file failed: %s, reason: %s.\n", shown_text(path).c_str(),
               reason.c_str());
        report("certificate-file-malformed"_id,
               "Provided file \"%s\" in %s option in configuration is not PEM-encoded x509 certificate.",
               shown_text(path).c_str(), external_option)
            .field("key", external_option)
            .field("file", path)
            .field("value", reason);
    }
    return decoded;
}

result get_fingerprint(const named_certificate& named, std::vector<std::uint8_t>& out) {
    RETURN_IF_FAILED(certificate_fingerprint(*named.certificate, out));
    log_at(log_level::debug, "%s SHA256 fingerprint value: %s\n", named.name, lower_hex(out).c_str());
    return result::success;
}

result check_identical(const named_certificate& embedded, const named_certificate& external) {
    std::vector<std::uint8_t> first;
    std::vector<std::uint8_t> second;
    RETURN_IF_FAILED(get_fingerprint(embedded, first));
    RETURN_IF_FAILED(get_fingerprint(external, second));
    if (first.size() != second.size()) {
        report("certificate-fingerprint-size"_id, "SHA256 fingerprints of %s and %s lenghts are not equal %d != %d.",
               embedded.name, external.name, static_cast<int>(first.size()), static_cast<int>(second.size()))
            .field("expected", first.size())
            .field("actual", second.size());
        return result::check_failed;
    }
    if (!equal_bytes(first, second)) {
        report("certificates-differ"_id, "%s and %s are not identical.", embedded.name, external.name)
            .field("expected", first)
            .field("expected_source", embedded.name)
            .field("actual", second)
            .field("actual_source", external.name);
        return result::check_failed;
    }
    return result::success;
}

// The external certificate is the embedded one or stands in for it; then it must hold the signing key as well.
result load_external(trust_case& it) {
    const std::string& path = it.settings.external_certificate_path;
    if (path.empty()) {
        log_at(log_level::debug, "External PMF certificate path was not provided.\n");
        return result::success;
    }
    const result read = read_external(path, it.external);
    if (!ok(read)) {
        it.certificate_refused = true;
        return read;
    }
    const named_certificate external = {it.external.get(), external_name};
    return it.embedded ? check_identical({it.embedded.get(), embedded_name}, external)
                       : check_header_key(it.document, external);
}

constexpr trust_step steps[] = {
    {trust_question::expiry, check_expiry},
    {trust_question::embedded_certificate, load_embedded},
    {trust_question::signature, check_signature},
    {trust_question::header_key, check_embedded_key},
    {trust_question::external_certificate, load_external},
    {trust_question::signing_mode, require_production_signature},
    {trust_question::manufacturer, require_manufacturer},
    {trust_question::certificate_dates, require_valid_dates},
    {trust_question::chain, require_trusted_chain},
    {trust_question::certificate_outlives, warn_of_early_expiry},
    {trust_question::signer, warn_of_odd_signer},
};

}  // namespace

named_certificate trust_case::manufacturer() const {
    return embedded ? named_certificate{embedded.get(), embedded_name}
                    : named_certificate{external.get(), external_name};
}

std::span<const trust_step> pmf_trust_steps() {
    return steps;
}

result verify_pmf_trust(const PmfDocument& document, const pmf_trust_settings& settings, directory_listing& listing,
                        clock& time, pmf_trust& out) {
    out = {};
    trust_case it = {document, settings, listing, time};
    for (const trust_step& step : steps) {
        const result held = step.ask(it);
        if (!ok(held)) {
            out.chain = std::move(it.chain);
            return held;
        }
    }
    out = {it.warned, std::move(it.chain)};
    return result::success;
}

}  // namespace vellum
