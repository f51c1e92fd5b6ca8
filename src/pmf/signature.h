// The RSA signature of a PMF, and what the seal signature shares with it: acceptable public keys, signature
// verification (RSASSA-PKCS1-v1_5 over SHA-256, RFC 8017) and the match of a key with the PMF's key manifest.
//
// Signatures are big-endian, as PKCS#1 writes them. Whether a signature is valid is told by the `verified` flag
// alone: a result of success says only that it could be tried. Results: internal_failure for a step of the library
// that failed, check_failed for a rule that is violated, io_failure for a key that is not acceptable. The reasons of
// a failed match are findings, everything else is logged.
#pragma once

#include <openssl/rsa.h>

#include <cstdint>

#include "base/bytes.h"
#include "base/result.h"
#include "core/openssl.h"
#include "pmf/format.h"

namespace vellum {

using rsa_key = openssl_handle<RSA, RSA_free>;

// A DER SubjectPublicKeyInfo (RFC 5280) that holds an RSA key and ends where the view ends; else io_failure, and
// `out` is unchanged.
result decode_public_key(byte_view der, rsa_key& out);

// 2048 bits, no private part, an odd public exponent other than 1.
result check_rsa_public_key(const RSA& key);

// The flag is clear unless the signature is valid. Only for a key that check_rsa_public_key() accepts.
result verify_rsa_signature(RSA& key, byte_view signature, byte_view data, bool& verified);

// Demands that exactly one key of the manifest has the hash of this DER-encoded public key.
result match_key_manifest(const PMF::KeyManifestExtension& manifest, byte_view public_key_der);

// The key of the manifest header, which signs the PMF, if it is acceptable.
result manifest_public_key(const PmfDocument& document, rsa_key& out);

// Verifies the PMF's signature with the key of its own header. That says nothing about whose key it is.
result verify_pmf_signature(const PmfDocument& document, bool& verified);

}  // namespace vellum
