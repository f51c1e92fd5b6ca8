#include "pmf/certificate_chain.h"

#include <openssl/x509_vfy.h>

#include <ctime>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/openssl.h"

namespace vellum {
namespace {

constexpr int least_security_level = 1;  // 80 bits: no RSA below 1024 bits

// Without a digest of its own an algorithm is measured as the library does.
constexpr int sha1_size = 20;  // bytes
constexpr int least_signature_bits = 112;

using store_handle = openssl_handle<X509_STORE, X509_STORE_free>;
using context_handle = openssl_handle<X509_STORE_CTX, X509_STORE_CTX_free>;

void add_names(finding_lines lines, const X509& certificate) {
    about_certificate(lines, certificate);
    lines.line("    Subject %s", subject_text(certificate).c_str());
    lines.line("    Issuer %s", issuer_text(certificate).c_str());
}

[[nodiscard]] bool add_trusted(X509_STORE& store, X509& certificate) {
    if (!is_ca_certificate(certificate)) {
        add_names(report("trusted-ca-is-no-ca"_id,
                         "Adding certificate to trusted store failed. Given certificate is not CA certificate."),
                  certificate);
        return false;
    }
    if (X509_STORE_add_cert(&store, &certificate) != 1) {
        add_names(report("trusted-ca-repeated"_id,
                         "Adding certificate to trusted store failed. Given CA certificate is probably duplicated."),
                  certificate);
        return false;
    }
    return true;
}

result load_trusted(const std::string& directory, directory_listing& listing, X509_STORE& store) {
    certificate_list list;
    bool any = false;
    if (ok(load_certificate_directory(directory, listing, list))) {
        for (int i = 0; i < sk_X509_num(list.get()); ++i) {
            any = add_trusted(store, *sk_X509_value(list.get(), i)) || any;
        }
    }
    if (any) {
        return result::success;
    }
    report(
        "trusted-ca-directory-empty"_id,
        "Trusted CA directory \"%s\" does not contain trusted certificates in valid format. Please make sure that the tool configuration points out to existing directory with PEM-encoded x509 certificates with .crt extension.",
        shown_text(directory).c_str())
        .field("directory", directory);
    return result::invalid;
}

// Without certificates the list stays empty, and the chain decides.
void load_intermediates(const std::string& directory, directory_listing& listing, certificate_list& out) {
    if (directory.empty()) {
        return;
    }
    if (!ok(load_certificate_directory(directory, listing, out)) || sk_X509_num(out.get()) == 0) {
        log_at(log_level::warning, "No intermediates certificates in the directory: %s.",
               shown_text(directory).c_str());
        note("intermediate-ca-directory-empty"_id).field("directory", directory);
    }
}

// Whether the digest that was signed is stronger than SHA-1. A digest that the library does not know is not.
[[nodiscard]] bool is_strongly_signed(X509& certificate) {
    int digest = NID_undef;
    int bits = 0;
    if (X509_get_signature_info(&certificate, &digest, nullptr, &bits, nullptr) != 1) {
        return false;
    }
    if (digest == NID_undef) {
        return bits >= least_signature_bits;
    }
    const EVP_MD* const known = EVP_get_digestbynid(digest);
    return known != nullptr && EVP_MD_size(known) > sha1_size;
}

// What the library accepts beyond our rules. It may take issuers without basic constraints, and which digests are
// weak differs with its version. Of the last certificate, which is trusted as it is, the signature does not count.
int broken_rule(X509& certificate, int depth, int last_depth) {
    if (depth > 0 && !is_ca_certificate(certificate)) {
        return X509_V_ERR_INVALID_CA;
    }
    return depth < last_depth && !is_strongly_signed(certificate) ? X509_V_ERR_CA_MD_TOO_WEAK : X509_V_OK;
}

int apply_our_rules(int accepted, X509_STORE_CTX* context) {
    X509* const certificate = X509_STORE_CTX_get_current_cert(context);
    if (accepted != 1 || certificate == nullptr) {
        return accepted;
    }
    const int last_depth = sk_X509_num(X509_STORE_CTX_get0_chain(context)) - 1;
    const int broken = broken_rule(*certificate, X509_STORE_CTX_get_error_depth(context), last_depth);
    if (broken == X509_V_OK) {
        return accepted;
    }
    X509_STORE_CTX_set_error(context, broken);
    return 0;
}

void set_rules(X509_STORE_CTX& context, std::int64_t now) {
    X509_VERIFY_PARAM* const rules = X509_STORE_CTX_get0_param(&context);
    X509_VERIFY_PARAM_set_time(rules, static_cast<std::time_t>(now));
    X509_VERIFY_PARAM_set_auth_level(rules, least_security_level);
    X509_STORE_CTX_set_verify_cb(&context, apply_our_rules);
}

bool issuer_is_missing(int error) {
    return error == X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT || error == X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY ||
           error == X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE;
}

void report_chain(const STACK_OF(X509) * chain) {
    finding_lines raised = report("certificate-chain"_id, "Actual CA certificate chain:");
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        const X509& certificate = *sk_X509_value(chain, i);
        raised.line("[%d] -> Subject %s", i, subject_text(certificate).c_str());
        raised.line("    Issuer %s", issuer_text(certificate).c_str());
    }
}

void report_failure(X509_STORE_CTX& context) {
    const int error = X509_STORE_CTX_get_error(&context);
    const X509* const failing = X509_STORE_CTX_get_current_cert(&context);
    const finding_lines raised =
        report(
            "certificate-chain-invalid"_id, "Certificate verification failed at depth %d. Reason: %s.%s",
            X509_STORE_CTX_get_error_depth(&context), X509_verify_cert_error_string(error),
            issuer_is_missing(error) ? " Make sure that this certificate was added to the Trusted CA directory." : "")
            .field("depth", X509_STORE_CTX_get_error_depth(&context))
            .field("status", error)
            .field("value", X509_verify_cert_error_string(error));
    if (failing != nullptr) {
        add_names(raised, *failing);
    }
    report_chain(X509_STORE_CTX_get0_chain(&context));
}

void log_chain(const STACK_OF(X509) * chain) {
    log_at(log_level::debug, "Certificate verification passed.\n");
    if (!log_enabled(log_level::debug)) {
        return;
    }
    log_at(log_level::debug, "Complete validate CA chain:\n");
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        const X509& certificate = *sk_X509_value(chain, i);
        log_at(log_level::debug, "[%d] -> Subject %s\n       Issuer %s\n", i, subject_text(certificate).c_str(),
               issuer_text(certificate).c_str());
    }
}

result library_failed(const char* text) {
    log_text(log_level::error, text);
    note("certificate-library-failed"_id).field("value", without_line_end(text));
    return result::internal_failure;
}

result verify(X509& certificate, X509_STORE& store, STACK_OF(X509) * untrusted, std::int64_t now,
              certificate_chain& out) {
    const context_handle context(X509_STORE_CTX_new());
    if (!context) {
        return library_failed("Could not create X509 context.\n");
    }
    if (X509_STORE_CTX_init(context.get(), &store, &certificate, untrusted) != 1) {
        return library_failed("Could not initialize X509 context.\n");
    }
    set_rules(*context, now);
    const int verdict = X509_verify_cert(context.get());
    out.certificates.reset(X509_STORE_CTX_get1_chain(context.get()));
    out.verified = verdict == 1;
    if (out.verified) {
        log_chain(out.certificates.get());
    } else {
        report_failure(*context);
    }
    return verdict < 0 ? result::internal_failure : result::success;
}

}  // namespace

result verify_certificate_chain(X509& certificate, const std::string& trusted_directory,
                                const std::string& intermediate_directory, directory_listing& listing,
                                std::int64_t now, certificate_chain& out) {
    start_openssl();
    out = {};
    if (trusted_directory.empty()) {
        report("trusted-ca-directory-not-given"_id,
               "Trusted CA directory was not provided in the tool configuration file.")
            .field("key", "TrustedCaDir");
        return result::invalid;
    }
    log_at(log_level::debug, "Trusted CA dir: %s\n", shown_text(trusted_directory).c_str());
    log_at(log_level::debug, "Intermediate CA dir: %s\n", shown_text(intermediate_directory).c_str());
    const store_handle store(X509_STORE_new());
    if (!store) {
        return library_failed("Could not create x509 store.\n");
    }
    RETURN_IF_FAILED(load_trusted(trusted_directory, listing, *store));
    certificate_list untrusted;
    load_intermediates(intermediate_directory, listing, untrusted);
    X509_STORE_set_flags(store.get(), X509_V_FLAG_PARTIAL_CHAIN | X509_V_FLAG_TRUSTED_FIRST);
    return verify(certificate, *store, untrusted.get(), now, out);
}

}  // namespace vellum
