// The rules of the key manifest.
#include "base/text.h"
#include "core/findings.h"
#include "pmf/rule_set.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

using extension = PMF::KeyManifestExtension;
using entry = pmf_entry<extension, PMF::KeyEntry>;

constexpr auto extension_type = static_cast<std::uint32_t>(PmfExtensionType::key_manifest);
constexpr auto algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::sha256);
constexpr std::size_t min_length = pmf_size<extension>;
constexpr std::uint32_t manifest_type = 3;
constexpr std::uint16_t forbidden_id = 0xFFFF;

result type_is_its_own(const extension& it) {
    return demand("pmf-keys-type"_id, it.type == extension_type,
                  "PMF::KeyManifestExtension has invalid type. Actual (0x%02x), expected (0x%02x).", it.type,
                  extension_type)
        .field("expected", extension_type)
        .field("actual", it.type);
}

result head_fits(const extension& it) {
    return demand("pmf-keys-length-too-short"_id, it.length >= min_length,
                  "PMF::KeyManifestExtension length is shorter than minimal allowed extension size (%d).",
                  as_int(min_length))
        .field("expected", min_length)
        .field("actual", it.length);
}

result entries_have_their_size(const extension& it) {
    return demand("pmf-keys-entry-size"_id, it.entry_size == pmf_size<PMF::KeyEntry>,
                  "PMF::KeyManifestExtension Entry Size has invalid value. Actual (%d), expected (%d).",
                  it.entry_size, as_int(pmf_size<PMF::KeyEntry>))
        .field("expected", pmf_size<PMF::KeyEntry>)
        .field("actual", it.entry_size);
}

result length_follows_from_count(const extension& it) {
    const std::size_t expected = it.count * pmf_size<PMF::KeyEntry> + min_length;
    return demand("pmf-keys-length"_id, it.length == expected,
                  "PMF::KeyManifestExtension has invalid length. Actual (%d), expected (%d).", as_int(it.length),
                  as_int(expected))
        .field("expected", expected)
        .field("actual", it.length);
}

result manifest_type_is_known(const extension& it) {
    return demand("pmf-keys-manifest-type"_id, it.manifest_type == manifest_type,
                  "PMF::KeyManifestExtension has invalid manifest type. Actual (%d), expected (%d).",
                  as_int(it.manifest_type), as_int(manifest_type))
        .field("expected", manifest_type)
        .field("actual", it.manifest_type);
}

result algorithm_is_supported(const extension& it) {
    return demand("pmf-keys-algorithm"_id, it.algorithm == algorithm,
                  "PMF::KeyManifestExtension has unsupported hash algorithm. Actual %s(0x%02x), expected %s(0x%02x).",
                  hash_algorithm_name(it.algorithm), it.algorithm, hash_algorithm_name(algorithm), algorithm)
        .field("expected", algorithm)
        .field("actual", it.algorithm);
}

constexpr pmf_rule<extension> required_rules[] = {type_is_its_own,         head_fits,
                                                  entries_have_their_size, length_follows_from_count,
                                                  manifest_type_is_known,  algorithm_is_supported};

result id_is_allowed(const entry& it) {
    return demand("pmf-key-id-forbidden"_id, it.entry.id < forbidden_id,
                  "PMF::KeyManifestExtension Key[%zu] id has forbidden value (0x%04x).", it.index,
                  unsigned{forbidden_id})
        .field("entry", it.index + 1)
        .field("value", it.entry.id);
}

constexpr pmf_rule<entry> required_entry_rules[] = {id_is_allowed};

result reserved_is_zero(const extension& it) {
    if (all_zero(it.reserved)) {
        return result::success;
    }
    return violated("pmf-keys-reserved-set"_id,
                    "PMF::KeyManifestExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
                    upper_hex(it.reserved).c_str())
        .field("actual", byte_view(it.reserved));
}

constexpr pmf_rule<extension> strict_rules[] = {reserved_is_zero};

result entry_reserved_is_zero(const entry& it) {
    if (all_zero(it.entry.reserved)) {
        return result::success;
    }
    return violated(
               "pmf-key-reserved-set"_id,
               "PMF::KeyManifestExtension Key[%zu] reserved bytes shall contain only 0x%02x data. Actual buffer: 0x%s.",
               it.index, 0U, upper_hex(it.entry.reserved).c_str())
        .field("entry", it.index + 1)
        .field("actual", byte_view(it.entry.reserved));
}

result hash_has_its_size(const entry& it) {
    if (digest_fits(it.entry.hash, it.digest_size)) {
        return result::success;
    }
    const finding_lines raised =
        report(
            "pmf-key-hash-size"_id,
            "PMF::KeyManifestExtension Key[%zu] hash is expected to contain exactly %d bytes of data, but at least one non-zero value was found in the trailing bytes.",
            it.index, as_int(it.digest_size))
            .field("entry", it.index + 1)
            .field("size", it.digest_size)
            .field("actual", byte_view(it.entry.hash));
    show_digest_field(raised, it.entry.hash, it.digest_size);
    return result::check_failed;
}

// The text names the actual value where it speaks of the expected one.
result policy_word_is_zero(std::size_t index, std::uint16_t policy) {
    return demand(
               "pmf-key-policy-set"_id, policy == 0,
               "PMF::KeyManifestExtension Key[%zu] Policy is reserved field and shall be (%d), but actual is (%d).",
               index, policy, 0)
        .field("entry", index + 1)
        .field("expected", 0)
        .field("actual", policy);
}

result policy_is_zero(const entry& it) {
    return policy_word_is_zero(it.index, it.entry.policy);
}

result second_policy_is_zero(const entry& it) {
    return policy_word_is_zero(it.index, it.entry.second_policy);
}

constexpr pmf_rule<entry> strict_entry_rules[] = {entry_reserved_is_zero, hash_has_its_size, policy_is_zero,
                                                  second_policy_is_zero};

result run_required_rules(const extension& it) {
    RETURN_IF_FAILED(run_until_failure(required_rules, it));
    return verdict_of(count_entry_failures(required_entry_rules, it));
}

}  // namespace

result check_required_rules(const PMF::KeyManifestExtension& extension) {
    const result verdict = run_required_rules(extension);
    log_at(log_level::debug, "Validation PMF::KeyManifestExtension finished with rval 0x%02x.\n", code_of(verdict));
    return verdict;
}

result check_strict_rules(const PMF::KeyManifestExtension& extension) {
    std::size_t digest_size = 0;
    if (!ok(pmf_digest_size(extension.algorithm, digest_size))) {
        report("pmf-keys-algorithm-unknown"_id, "PMF::KeyManifestExtension has unknown algorithm.")
            .field("value", extension.algorithm);
        return result::internal_failure;
    }
    const result verdict = verdict_of(count_failures(strict_rules, extension) +
                                      count_entry_failures(strict_entry_rules, extension, digest_size));
    log_at(log_level::debug, "Strict validation PMF::KeyManifestExtension finished with rval 0x%02x.\n",
           code_of(verdict));
    return verdict;
}

}  // namespace vellum
