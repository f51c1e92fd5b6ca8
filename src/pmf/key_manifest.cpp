#include "base/text.h"
#include "core/digest.h"
#include "core/findings.h"
#include "core/log.h"
#include "pmf/signature.h"

namespace vellum {
namespace {

constexpr auto required_algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::sha256);

const char* manifest_name() {
    return extension_type_name(static_cast<std::uint32_t>(PmfExtensionType::key_manifest));
}

// The part of the field that the digest fills; all of it for an algorithm that has none.
byte_view key_hash(const PMF::KeyManifestExtension& manifest, const PMF::KeyEntry& key) {
    std::size_t size = 0;
    const byte_view field = key.hash;
    return ok(pmf_digest_size(manifest.algorithm, size)) && size <= field.size() ? field.first(size) : field;
}

void log_keys(const PMF::KeyManifestExtension& manifest) {
    if (!log_enabled(log_level::debug)) {
        return;
    }
    log_at(log_level::debug, "Found %s with hash algorithm %s(0x%02x) and following keys:\n", manifest_name(),
           hash_algorithm_name(manifest.algorithm), manifest.algorithm);
    for (std::size_t i = 0; i < manifest.entries.size(); ++i) {
        const PMF::KeyEntry& key = manifest.entries[i];
        log_at(log_level::debug, " %zu) id: %d, policy: 0x%04x, hash: %s\n", i, key.id, key.policy,
               lower_hex(key_hash(manifest, key)).c_str());
    }
}

result hash_signing_key(const PMF::KeyManifestExtension& manifest, byte_view public_key_der, sha256_value& out) {
    const char* const algorithm = hash_algorithm_name(manifest.algorithm);
    if (manifest.algorithm != required_algorithm) {
        report(
            "key-manifest-algorithm"_id,
            "Unsupported hash algorithm %s(0x%02x) associated with %s. %s(0x%02x) is the only supported algorithm.",
            algorithm, manifest.algorithm, manifest_name(), hash_algorithm_name(required_algorithm),
            required_algorithm)
            .field("expected", required_algorithm)
            .field("actual", manifest.algorithm);
        return result::check_failed;
    }
    RETURN_IF_FAILED(sha256(public_key_der, out));
    log_at(log_level::debug, "Matching Seal Signing Key hash (%s): %s\n", algorithm, lower_hex(out).c_str());
    return result::success;
}

bool key_matches(const PMF::KeyManifestExtension& manifest, std::size_t index, const sha256_value& expected) {
    const PMF::KeyEntry& key = manifest.entries[index];
    const byte_view actual = key_hash(manifest, key);
    if (!equal_bytes(actual, expected)) {
        log_at(log_level::debug, "Seal Signing Key hash does not match with %s key[%zu] with id %d\n",
               manifest_name(), index, key.id);
        log_at(log_level::debug, "    Current (PMF): %s\n", lower_hex(actual).c_str());
        log_at(log_level::debug, "    Expected (Calculated): %s\n", lower_hex(expected).c_str());
        return false;
    }
    log_at(log_level::debug, "Seal Signing Key hash matches %s key[%zu] with id %d\n", manifest_name(), index,
           key.id);
    return true;
}

}  // namespace

result match_key_manifest(const PMF::KeyManifestExtension& manifest, byte_view public_key_der) {
    if (manifest.count == 0 || manifest.entries.empty()) {
        report("key-manifest-empty"_id, "%s has no entries. No match can be found.", manifest_name());
        return result::check_failed;
    }
    log_keys(manifest);
    sha256_value expected{};
    RETURN_IF_FAILED(hash_signing_key(manifest, public_key_der, expected));
    std::size_t matches = 0;
    for (std::size_t i = 0; i < manifest.entries.size(); ++i) {
        matches += key_matches(manifest, i, expected) ? 1 : 0;
    }
    if (matches == 1) {
        return result::success;
    }
    const char* const algorithm = hash_algorithm_name(manifest.algorithm);
    const std::string hash = lower_hex(expected);
    if (matches > 1) {
        report("key-manifest-repeated-key"_id,
               "%s contains %zu duplicated key hashes (%s) %s that match Seal Signing Key.", manifest_name(), matches,
               algorithm, hash.c_str())
            .field("value", hash);
    } else {
        report("key-manifest-key-missing"_id, "Seal Signing Key hash (%s) %s is not present in %s.", algorithm,
               hash.c_str(), manifest_name())
            .field("actual", hash);
    }
    return result::check_failed;
}

}  // namespace vellum
