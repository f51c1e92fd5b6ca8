// The keys and certificates with which a device is sealed, where they are somebody's own.
#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vellum::lab {

// What is absent is the sample's.
struct signing_keys {
    std::shared_ptr<EVP_PKEY> pmf_key;                 // RSA, 2048 bits
    std::vector<std::uint8_t> certificate;             // DER, of that key
    std::map<std::string, std::string> authorities{};  // above it, PEM texts by path in the device
    std::shared_ptr<EVP_PKEY> seal_key;                // RSA, 2048 bits
};

// Files in PEM form. The certificates are the signer's, and behind it those above it up to one that signs itself.
struct signing_files {
    std::optional<std::string> key;
    std::optional<std::string> certificates;  // go with the key
    std::optional<std::string> seal_key;
};

// Returns what is wrong with a file, as a sentence that names it; empty: nothing. Nobody is asked for a passphrase.
std::string read_signing_keys(const signing_files& files, signing_keys& out);

}  // namespace vellum::lab
