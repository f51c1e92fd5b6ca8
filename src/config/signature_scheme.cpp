#include "config/signature_scheme.h"

namespace vellum {
namespace {

struct named_scheme {
    signature_scheme id;
    const char* name;
};

constexpr named_scheme schemes[] = {
    {signature_scheme::sha256_rsa_2048_pkcs1, "SHA256-RSA-2048-PKCS1"},
    {signature_scheme::sha256_null_encryption, "SHA256-NULL-ENCRYPTION"},
};

}  // namespace

signature_scheme signature_scheme_id(std::string_view name) {
    for (const named_scheme& scheme : schemes) {
        if (name == scheme.name) {
            return scheme.id;
        }
    }
    return signature_scheme::unknown;
}

const char* signature_scheme_name(signature_scheme id) {
    for (const named_scheme& scheme : schemes) {
        if (id == scheme.id) {
            return scheme.name;
        }
    }
    return "";
}

}  // namespace vellum
