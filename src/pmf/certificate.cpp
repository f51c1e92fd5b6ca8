#include "pmf/certificate.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <memory>
#include <utility>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/times.h"

namespace vellum {
namespace {

constexpr std::int64_t seconds_per_day = 86400;
constexpr const char* epoch = "700101000000Z";

using time_handle = openssl_handle<ASN1_TIME, ASN1_TIME_free>;

struct free_library_bytes {
    void operator()(std::uint8_t* bytes) const { OPENSSL_free(bytes); }
};
using library_bytes = std::unique_ptr<std::uint8_t, free_library_bytes>;

// Decodes one certificate and says how many bytes it took.
certificate_handle parse_der(byte_view der, std::size_t& consumed) {
    const std::uint8_t* end = der.data();
    certificate_handle parsed(d2i_X509(nullptr, &end, static_cast<long>(der.size())));
    consumed = parsed ? static_cast<std::size_t>(end - der.data()) : 0;
    return parsed;
}

// Asks nobody: an encrypted block is no certificate.
int no_password(char*, int, int, void*) {
    return -1;
}

// The content of the first certificate block; nothing on failure.
library_bytes find_pem_block(byte_view pem, std::size_t& size) {
    const bio_handle bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    std::uint8_t* bytes = nullptr;
    long length = 0;
    if (!bio || PEM_bytes_read_bio(&bytes, &length, nullptr, PEM_STRING_X509, bio.get(), no_password, nullptr) != 1) {
        return nullptr;
    }
    size = static_cast<std::size_t>(length);
    return library_bytes(bytes);
}

std::string name_text(const X509_NAME* name) {
    const bio_handle bio(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (!bio || X509_NAME_print_ex(bio.get(), name, 0, XN_FLAG_ONELINE) < 0) {
        return "(unreadable)";
    }
    const long size = BIO_get_mem_data(bio.get(), &text);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

struct time_field {
    const char* name;
    const char* getter;
};
constexpr time_field not_before_field = {"NotBefore", "X509_get_notBefore"};
constexpr time_field not_after_field = {"NotAfter", "X509_get_notAfter"};

result seconds_since_epoch(const ASN1_TIME* time, const time_field& field, std::int64_t& out) {
    if (time == nullptr) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "%s() failed - %s.\n", field.getter, reason.c_str());
        note("certificate-time-missing"_id).field("name", field.name).field("value", reason);
        return result::check_failed;
    }
    const time_handle start(ASN1_TIME_new());
    if (!start || ASN1_TIME_set_string(start.get(), epoch) != 1) {
        log_at(log_level::error, "ASN1_TIME_set_string() failed - %s.\n", openssl_error_text().c_str());
        return result::internal_failure;
    }
    int days = 0;
    int seconds = 0;
    if (ASN1_TIME_diff(&days, &seconds, start.get(), time) != 1) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "ASN1_TIME_diff() for %s failed - %s.\n", field.name, reason.c_str());
        note("certificate-time-unreadable"_id).field("name", field.name).field("value", reason);
        return result::check_failed;
    }
    out = days * seconds_per_day + seconds;
    return result::success;
}

std::string utc_text(std::int64_t seconds) {
    return utc_time_string(seconds).value_or("(unknown)");
}

}  // namespace

result decode_certificate(byte_view der, certificate_handle& out) {
    start_openssl();
    std::size_t consumed = 0;
    certificate_handle parsed = parse_der(der, consumed);
    if (!parsed) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "Given data blob is not a valid x509 certificate. d2i_X509() failed - %s.\n",
               reason.c_str());
        note("certificate-undecodable"_id).field("value", reason).field("size", der.size());
        return result::invalid;
    }
    if (consumed != der.size()) {
        log_at(log_level::error,
               "Given certificate length (%zu) does not match the retrieved x509 certificate length (%d).\n",
               der.size(), static_cast<int>(consumed));
        note("certificate-length-differs"_id).field("expected", consumed).field("actual", der.size());
        return result::invalid;
    }
    out = std::move(parsed);
    return result::success;
}

result decode_pem_certificate(byte_view pem, certificate_handle& out, std::string& reason) {
    start_openssl();
    if (pem.empty()) {
        reason = "the file is empty";
        return result::invalid;
    }
    std::size_t size = 0;
    std::size_t consumed = 0;
    const library_bytes block = find_pem_block(pem, size);
    certificate_handle parsed = block ? parse_der({block.get(), size}, consumed) : nullptr;
    if (!parsed) {
        reason = openssl_error_text();
        return result::invalid;
    }
    if (consumed != size) {
        reason = "data after the certificate";
        return result::invalid;
    }
    out = std::move(parsed);
    return result::success;
}

result encode_certificate(const X509& certificate, std::vector<std::uint8_t>& out) {
    const int size = i2d_X509(&certificate, nullptr);
    if (size <= 0) {
        return result::internal_failure;
    }
    out.resize(static_cast<std::size_t>(size));
    std::uint8_t* end = out.data();
    return i2d_X509(&certificate, &end) == size ? result::success : result::internal_failure;
}

result certificate_fingerprint(const X509& certificate, std::vector<std::uint8_t>& out) {
    start_openssl();
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (X509_digest(&certificate, EVP_sha256(), digest.data(), &size) != 1) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "X509_digest() failed - %s.\n", reason.c_str());
        note("certificate-not-hashed"_id).field("value", reason);
        return result::io_failure;
    }
    out.assign(digest.begin(), digest.begin() + size);
    return result::success;
}

result read_certificate_times(const X509& certificate, certificate_times& out) {
    start_openssl();
    certificate_times times;
    RETURN_IF_FAILED(seconds_since_epoch(X509_get0_notBefore(&certificate), not_before_field, times.not_before));
    log_at(log_level::debug, "Not before timestamp = %lld\n", static_cast<long long>(times.not_before));
    RETURN_IF_FAILED(seconds_since_epoch(X509_get0_notAfter(&certificate), not_after_field, times.not_after));
    log_at(log_level::debug, "Not after timestamp = %lld\n", static_cast<long long>(times.not_after));
    out = times;
    return result::success;
}

result check_certificate_dates(const X509& certificate, std::int64_t now) {
    constexpr const char* name = "X509 certificate";
    certificate_times times;
    const result read = read_certificate_times(certificate, times);
    if (!ok(read)) {
        about_certificate(
            report("certificate-dates-unreadable"_id,
                   "An error occurred while extracting %s parameters to validate its expiration date.", name),
            certificate);
        return read;
    }
    if (times.not_before <= now && now <= times.not_after) {
        return result::success;
    }
    about_certificate(
        report("certificate-expired"_id,
               "%s has expired. This certificate was valid from \"%s\" to \"%s\". Current time is \"%s\".", name,
               utc_text(times.not_before).c_str(), utc_text(times.not_after).c_str(), utc_text(now).c_str())
            .field("not_before", times.not_before)
            .field("not_after", times.not_after)
            .field("now", now),
        certificate);
    return result::check_failed;
}

std::string subject_text(const X509& certificate) {
    return name_text(X509_get_subject_name(&certificate));
}

std::string issuer_text(const X509& certificate) {
    return name_text(X509_get_issuer_name(&certificate));
}

// A name that cannot be converted is no failure of the operation that is under way.
finding_lines about_certificate(finding_lines raised, const X509& certificate) {
    if (!findings_observed()) {
        return raised;
    }
    ERR_set_mark();
    const ASN1_INTEGER* serial = X509_get0_serialNumber(&certificate);
    const byte_view number(ASN1_STRING_get0_data(serial), static_cast<std::size_t>(ASN1_STRING_length(serial)));
    raised.field("subject", subject_text(certificate)).field("issuer", issuer_text(certificate));
    raised.field("serial", number);
    ERR_pop_to_mark();
    return raised;
}

bool is_ca_certificate(X509& certificate) {
    constexpr int by_basic_constraints = 1;
    return X509_check_ca(&certificate) == by_basic_constraints;
}

result is_self_signed(X509& certificate, bool& out) {
    start_openssl();
    out = false;
    EVP_PKEY* const key = X509_get0_pubkey(&certificate);
    if (key == nullptr) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "X509_get0_pubkey() failed - %s.\n", reason.c_str());
        about_certificate(note("certificate-key-missing"_id).field("value", reason), certificate);
        return result::check_failed;
    }
    if (X509_NAME_cmp(X509_get_subject_name(&certificate), X509_get_issuer_name(&certificate)) != 0) {
        return result::success;
    }
    const int verdict = X509_verify(&certificate, key);
    if (verdict < 0) {
        const std::string reason = openssl_error_text();
        log_at(log_level::error, "X509_verify() failed - %s.\n", reason.c_str());
        about_certificate(note("certificate-signature-unverifiable"_id).field("value", reason), certificate);
        return result::check_failed;
    }
    out = verdict == 1;
    return result::success;
}

std::string key_algorithm_text(const X509& certificate) {
    ASN1_OBJECT* algorithm = nullptr;
    std::array<char, 128> text{};
    X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(&certificate));
    OBJ_obj2txt(text.data(), static_cast<int>(text.size()), algorithm, 0);
    return text.data();
}

}  // namespace vellum
