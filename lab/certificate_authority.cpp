#include "lab/certificate_authority.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <map>
#include <utility>

#include "core/openssl.h"
#include "pmf/certificate.h"

namespace vellum::lab {
namespace {

using extension_handle = openssl_handle<X509_EXTENSION, X509_EXTENSION_free>;

int rsa_bits(key_kind kind) {
    switch (kind) {
        case key_kind::rsa_768: return 768;
        case key_kind::rsa_1024: return 1024;
        case key_kind::rsa_3072: return 3072;
        default: return 2048;
    }
}

key_handle generate(key_kind kind) {
    start_openssl();
    const bool elliptic = kind == key_kind::ec_p256;
    const key_context context(EVP_PKEY_CTX_new_id(elliptic ? EVP_PKEY_EC : EVP_PKEY_RSA, nullptr));
    EVP_PKEY* key = nullptr;
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1) {
        return nullptr;
    }
    const int set = elliptic ? EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context.get(), NID_X9_62_prime256v1)
                             : EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), rsa_bits(kind));
    return key_handle(set == 1 && EVP_PKEY_keygen(context.get(), &key) == 1 ? key : nullptr);
}

bool set_name(X509_NAME* name, const std::string& common_name) {
    return X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, as_bytes(common_name).data(),
                                      static_cast<int>(common_name.size()), -1, 0) == 1;
}

bool add_extension(X509* certificate, int id, const std::string& value) {
    if (value.empty()) {
        return true;
    }
    const extension_handle extension(X509V3_EXT_conf_nid(nullptr, nullptr, id, value.c_str()));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

std::string basic_constraints(const certificate_plan& plan) {
    if (!plan.is_ca) {
        return "";
    }
    const std::string length = plan.path_length ? ",pathlen:" + std::to_string(*plan.path_length) : "";
    return std::string("critical,CA:") + (*plan.is_ca ? "TRUE" : "FALSE") + length;
}

bool fill(X509* certificate, const certificate_plan& plan, const std::string& issuer_name) {
    return X509_set_version(certificate, plan.version - 1) == 1 &&
           ASN1_INTEGER_set(X509_get_serialNumber(certificate), static_cast<long>(plan.serial)) == 1 &&
           set_name(X509_get_subject_name(certificate), plan.name) &&
           set_name(X509_get_issuer_name(certificate), issuer_name) &&
           ASN1_TIME_set(X509_getm_notBefore(certificate), plan.not_before) != nullptr &&
           ASN1_TIME_set(X509_getm_notAfter(certificate), plan.not_after) != nullptr &&
           X509_set_pubkey(certificate, plan.key) == 1 &&
           add_extension(certificate, NID_basic_constraints, basic_constraints(plan)) &&
           add_extension(certificate, NID_key_usage, plan.key_usage);
}

std::vector<std::uint8_t> make(const certificate_plan& plan, const std::string& issuer_name, EVP_PKEY* issuer_key) {
    start_openssl();
    const certificate_handle certificate(X509_new());
    const EVP_MD* const digest = EVP_get_digestbyname(plan.digest);  // none would sign with the key's usual one
    if (!certificate || digest == nullptr || !fill(certificate.get(), plan, issuer_name) ||
        X509_sign(certificate.get(), issuer_key, digest) <= 0) {
        return {};
    }
    std::vector<std::uint8_t> der(static_cast<std::size_t>(i2d_X509(certificate.get(), nullptr)));
    std::uint8_t* at = der.data();
    i2d_X509(certificate.get(), &at);
    return der;
}

certificate_plan plan_for(std::string_view name, unsigned key_number, bool is_ca) {
    certificate_plan plan;
    plan.name = name;
    plan.key = private_key(key_kind::rsa_2048, key_number);
    plan.is_ca = is_ca;
    plan.key_usage = is_ca ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature";
    return plan;
}

}  // namespace

EVP_PKEY* private_key(key_kind kind, unsigned number) {
    static std::map<std::pair<key_kind, unsigned>, key_handle> keys;
    key_handle& key = keys[{kind, number}];
    if (!key) {
        key = generate(kind);
    }
    return key.get();
}

std::vector<std::uint8_t> public_key_der(EVP_PKEY* key) {
    const int size = i2d_PUBKEY(key, nullptr);
    std::vector<std::uint8_t> der(size > 0 ? static_cast<std::size_t>(size) : 0);
    std::uint8_t* at = der.data();
    if (size > 0) {
        i2d_PUBKEY(key, &at);
    }
    return der;
}

std::vector<std::uint8_t> sign_data(EVP_PKEY* key, byte_view data) {
    const digest_context context(EVP_MD_CTX_new());
    std::vector<std::uint8_t> signature(static_cast<std::size_t>(EVP_PKEY_size(key)));
    std::size_t size = signature.size();
    if (!context || EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key) != 1 ||
        EVP_DigestSign(context.get(), signature.data(), &size, data.data(), data.size()) != 1) {
        return {};
    }
    signature.resize(size);
    return signature;
}

certificate_plan authority(std::string_view name, unsigned key_number) {
    return plan_for(name, key_number, true);
}

certificate_plan leaf(std::string_view name, unsigned key_number) {
    return plan_for(name, key_number, false);
}

issued_certificate self_signed(const certificate_plan& plan) {
    return {make(plan, plan.name, plan.key), plan.name, plan.key};
}

issued_certificate issue(const certificate_plan& plan, const issued_certificate& issuer) {
    return {make(plan, issuer.name, issuer.key), plan.name, plan.key};
}

std::string pem(byte_view der, const char* label) {
    const bio_handle bio(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (!bio || PEM_write_bio(bio.get(), label, "", der.data(), static_cast<long>(der.size())) <= 0) {
        return {};
    }
    const long size = BIO_get_mem_data(bio.get(), &text);
    return std::string(text, static_cast<std::size_t>(size));
}

}  // namespace vellum::lab
