// What every user of OpenSSL shares: owners of its objects, the start of the library, and the text of its last
// failure.
#pragma once

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>

#include <memory>
#include <string>

namespace vellum {

// Frees an object with the library's function for its type.
template <auto Free>
struct openssl_deleter {
    template <typename Object>
    void operator()(Object* object) const {
        static_cast<void>(Free(object));
    }
};

template <typename Object, auto Free>
using openssl_handle = std::unique_ptr<Object, openssl_deleter<Free>>;

using bio_handle = openssl_handle<BIO, BIO_free>;
using number_handle = openssl_handle<BIGNUM, BN_free>;
using key_handle = openssl_handle<EVP_PKEY, EVP_PKEY_free>;
using key_context = openssl_handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using digest_context = openssl_handle<EVP_MD_CTX, EVP_MD_CTX_free>;

// Starts the library without the system-wide configuration and empties its error queue, so that the next failure is
// not taken for an older one. To be called at the beginning of an operation; starting again costs nothing.
void start_openssl();

// The oldest entry of the library's error queue, which names the cause, as text. Empties the queue.
std::string openssl_error_text();

}  // namespace vellum
