#include "pmf/trust.h"

#include <optional>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "core/text.h"
#include "pmf/certificate.h"
#include "pmf/dates.h"
#include "pmf/layout.h"
#include "pmf/signature.h"
#include "pmf/trust_steps.h"

namespace vellum {
namespace {

constexpr const char* embedded_name = "PMF::CertificateExtension certificate";
constexpr const char* external_name = "PMF external certificate";
constexpr const char* external_option = "PMFExternalCertificatePath";

result check_expiry(const PmfDocument& document) {
    const std::optional<std::int64_t> expiry = pmf_expiry_instant(document.header.expire_date);
    if (!expiry) {
        static_cast<void>(push_message("Could not extract %s to validate PMF expiration date.", expire_date_name));
        return result::check_failed;
    }
    const std::int64_t now = current_time();
    const shown_time end(*expiry);
    const shown_time current(now);
    log_at(log_level::debug, "%s expire date timestamp: %llu\n", "PMF", static_cast<unsigned long long>(*expiry));
    log_at(log_level::debug, "PMF expiration time local is equal:%s\n", end.local.c_str());
    log_at(log_level::debug, "PMF expiration time UTC is equal:%s\n", end.utc.c_str());
    log_at(log_level::debug, "Current time UTC is equal: %s\n", current.utc.c_str());
    log_at(log_level::debug, "Current time local is equal: %s\n", current.local.c_str());
    if (now <= *expiry) {
        return result::success;
    }
    static_cast<void>(push_message("PMF is expired. PMF Expiry Date: %s (%s). Current time: %s (%s).",
                                   end.local.c_str(), end.utc.c_str(), current.local.c_str(), current.utc.c_str()));
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
        static_cast<void>(push_message("%s length (%u) is invalid. Expected at least (%u) bytes.",
                                       certificate_extension_name, extension->length,
                                       static_cast<unsigned>(pmf_extension_head_size)));
        return result::invalid;
    }
    out = pmf_extension_content(*extension);
    return result::success;
}

result load_embedded(const PmfDocument& document, certificate_handle& out) {
    byte_view der;
    const result found = find_certificate_bytes(document, der);
    if (!ok(found)) {
        return found;
    }
    if (der.empty()) {
        log_at(log_level::debug, "%s is empty.\n", certificate_extension_name);
        return result::success;
    }
    const result decoded = decode_certificate(der, out);
    if (!ok(decoded)) {
        static_cast<void>(push_message("Manufacturer certificate in %s is not a valid x509 certificate.",
                                       certificate_extension_name));
    }
    return decoded;
}

result check_signature(const PmfDocument& document, const named_certificate& embedded) {
    bool verified = false;
    const result tried = verify_pmf_signature(document, verified);
    if (!ok(tried)) {
        static_cast<void>(push_message("An error occurred while trying to verify PMF signature."));
        return tried;
    }
    if (!verified) {
        static_cast<void>(push_message("PMF signature is invalid."));
        return result::check_failed;
    }
    return embedded.certificate != nullptr ? check_header_key(document, embedded) : result::success;
}

result read_external(const std::string& path, certificate_handle& out) {
    std::vector<std::uint8_t> content;
    const result read = read_file(path, max_certificate_file_size, content);
    if (!ok(read)) {
        static_cast<void>(push_message("Failed to load file \"%s\" provided by %s option in configuration.",
                                       shown_text(path).c_str(), external_option));
        return read;
    }
    std::string reason;
    const result decoded = decode_pem_certificate(content, out, reason);
    if (!ok(decoded)) {
        log_at(log_level::debug, "Parsing certificate file failed: %s, reason: %s.\n", shown_text(path).c_str(),
               reason.c_str());
        static_cast<void>(
            push_message("Provided file \"%s\" in %s option in configuration is not PEM-encoded x509 certificate.",
                         shown_text(path).c_str(), external_option));
    }
    return decoded;
}

result get_fingerprint(const named_certificate& named, std::vector<std::uint8_t>& out) {
    const result computed = certificate_fingerprint(*named.certificate, out);
    if (ok(computed)) {
        log_at(log_level::debug, "%s SHA256 fingerprint value: %s\n", named.name, lower_hex(out).c_str());
    }
    return computed;
}

result check_identical(const named_certificate& embedded, const named_certificate& external) {
    std::vector<std::uint8_t> first;
    std::vector<std::uint8_t> second;
    result computed = get_fingerprint(embedded, first);
    if (ok(computed)) {
        computed = get_fingerprint(external, second);
    }
    if (!ok(computed)) {
        return computed;
    }
    if (first.size() != second.size()) {
        static_cast<void>(push_message("SHA256 fingerprints of %s and %s lenghts are not equal %d != %d.",
                                       embedded.name, external.name, static_cast<int>(first.size()),
                                       static_cast<int>(second.size())));
        return result::check_failed;
    }
    if (!equal_bytes(first, second)) {
        static_cast<void>(push_message("%s and %s are not identical.", embedded.name, external.name));
        return result::check_failed;
    }
    return result::success;
}

// The external certificate is the embedded one or stands in for it; then it must hold the signing key as well.
result load_external(const PmfDocument& document, const std::string& path, const named_certificate& embedded,
                     certificate_handle& out) {
    if (path.empty()) {
        log_at(log_level::debug, "External PMF certificate path was not provided.\n");
        return result::success;
    }
    const result read = read_external(path, out);
    if (!ok(read)) {
        return read;
    }
    const named_certificate external = {out.get(), external_name};
    return embedded.certificate != nullptr ? check_identical(embedded, external)
                                           : check_header_key(document, external);
}

}  // namespace

result verify_pmf_trust(const PmfDocument& document, const pmf_trust_settings& settings, directory_listing& listing,
                        bool& warned) {
    warned = false;
    certificate_handle embedded_handle;
    certificate_handle external_handle;
    result step = check_expiry(document);
    if (ok(step)) {
        step = load_embedded(document, embedded_handle);
    }
    const named_certificate embedded = {embedded_handle.get(), embedded_name};
    if (ok(step)) {
        step = check_signature(document, embedded);
    }
    if (ok(step)) {
        step = load_external(document, settings.external_certificate_path, embedded, external_handle);
    }
    if (ok(step)) {
        const named_certificate external = {external_handle.get(), external_name};
        const named_certificate& manufacturer = embedded.certificate != nullptr ? embedded : external;
        step = check_signing_mode(document, settings, manufacturer, listing, warned);
    }
    return step;
}

}  // namespace vellum
