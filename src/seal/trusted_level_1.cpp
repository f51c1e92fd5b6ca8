#include "core/findings.h"
#include "core/log.h"
#include "pmf/signature.h"
#include "seal/seal_date.h"
#include "seal/trusted_levels.h"

namespace vellum {
namespace {

constexpr const char* level_name = "TL1";

constexpr std::uint32_t max_odm_key_id = 65534;

// The key as the signature carries it; empty when the claimed length is none that the field can hold.
byte_view public_key_of(const seal_signature& signature) {
    const byte_view room = signature.public_key;
    return signature.public_key_length <= room.size() ? room.first(signature.public_key_length) : byte_view();
}

void note_key(const seal_signature& signature) {
    note("seal-key-differs"_id)
        .field("expected", "public RSA key of 2048 bits, DER")
        .field("actual", public_key_of(signature))
        .field("size", signature.public_key_length)
        .field("limit", signature.public_key.size());
}

[[nodiscard]] bool import_public_key(const seal_signature& signature, rsa_key& out) {
    const byte_view der = public_key_of(signature);
    if (der.empty() || !ok(decode_public_key(der, out))) {
        log_at(log_level::error, "Seal Signature TL1 hash verification failed, public key conversion failed.");
        note_key(signature);
        return false;
    }
    if (!ok(check_rsa_public_key(*out))) {
        log_at(log_level::error, "Seal Signature TL1 hash verification failed, public key validation failed.");
        note_key(signature);
        return false;
    }
    return true;
}

bool signature_verifies(const signed_seal& seal) {
    const seal_signature& signature = seal.signature;
    rsa_key key;
    if (!import_public_key(signature, key)) {
        return false;
    }
    if (signature.size > signature.room.size()) {
        report("seal-signature-size"_id, "Seal Signature has invalid size. Actual: %u. Maximum: %zu.", signature.size,
               signature.room.size())
            .field("size", signature.size)
            .field("limit", signature.room.size());
        return false;
    }
    bool verified = false;
    const byte_view value = byte_view(signature.room).first(signature.size);
    if (!ok(verify_rsa_signature(*key, value, seal_signed_bytes(seal.data, signature), verified))) {
        note("seal-signature-unverifiable"_id).field("size", signature.size);
        return false;
    }
    if (!verified) {
        report("seal-signature-invalid"_id, "Seal Signature verification failed. Signature hash is invalid.");
    }
    return verified;
}

bool key_is_listed(const signed_seal& seal) {
    if (seal.pmf == nullptr) {
        report("seal-key-without-pmf"_id,
               "Unable to validate Seal Signature against Key Manifest Extension. PMF is not provided");
        return false;
    }
    PMF::KeyManifestExtension manifest;
    if (!ok(get_pmf_extension(*seal.pmf, manifest))) {
        report("seal-key-manifest-missing"_id, "Key Manifest Extension was not found in PMF");
        return false;
    }
    return ok(match_key_manifest(manifest, public_key_of(seal.signature)));
}

}  // namespace

stage_outcome verify_trusted_level_1(const signed_seal& seal) {
    if (seal.signature.odm_key_id > max_odm_key_id) {
        log_at(log_level::error, "Seal Signature TL1 verification failed, ODM KEY ID has improper value.");
        note("seal-key-id-differs"_id)
            .field("expected", "0-" + std::to_string(max_odm_key_id))
            .field("actual", seal.signature.odm_key_id);
        return failed(level_name);
    }
    const bool date_is_plausible = ok(check_seal_date(seal.data.timestamp, seal.now));
    if (!signature_verifies(seal) || !key_is_listed(seal)) {
        return failed(level_name);
    }
    return date_is_plausible ? passed(level_name) : passed_with_warnings("TL1, WARN");
}

}  // namespace vellum
