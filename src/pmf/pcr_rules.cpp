// The rules of the PCR metadata.
#include "base/text.h"
#include "core/findings.h"
#include "pmf/pcr_set.h"
#include "pmf/rule_set.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

using extension = PMF::PCRMetadataFileExtension;
using entry = pmf_entry<extension, PMF::PcrEntry>;

constexpr auto extension_type = static_cast<std::uint32_t>(PmfExtensionType::pcr_metadata);
constexpr auto algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::sha256);
constexpr std::size_t min_length = pmf_size<extension>;

result type_is_its_own(const extension& it) {
    return demand("pmf-pcrs-type"_id, it.type == extension_type,
                  "PMF::PCRMetadataFileExtension has invalid type. Actual (0x%02x), expected (0x%02x).", it.type,
                  extension_type)
        .field("expected", extension_type)
        .field("actual", it.type);
}

result head_fits(const extension& it) {
    return demand("pmf-pcrs-length-too-short"_id, it.length >= min_length,
                  "PMF::PCRMetadataFileExtension length is shorter than minimal allowed extension size (%d).",
                  as_int(it.length))
        .field("expected", min_length)
        .field("actual", it.length);
}

result entries_have_their_size(const extension& it) {
    return demand("pmf-pcrs-entry-size"_id, it.entry_size == pmf_size<PMF::PcrEntry>,
                  "PMF::PCRMetadataFileExtension Entry Size has invalid value. Actual (%d), expected (%d).",
                  it.entry_size, as_int(pmf_size<PMF::PcrEntry>))
        .field("expected", pmf_size<PMF::PcrEntry>)
        .field("actual", it.entry_size);
}

result length_follows_from_count(const extension& it) {
    const std::size_t expected = it.count * pmf_size<PMF::PcrEntry> + min_length;
    return demand("pmf-pcrs-length"_id, it.length == expected,
                  "PMF::PCRMetadataFileExtension has invalid length. Actual (%d), expected (%d).", as_int(it.length),
                  as_int(expected))
        .field("expected", expected)
        .field("actual", it.length);
}

constexpr pmf_rule<extension> required_shape[] = {type_is_its_own, head_fits, entries_have_their_size,
                                                  length_follows_from_count};

result algorithm_is_supported(const extension& it) {
    return demand(
               "pmf-pcrs-algorithm"_id, it.algorithm == algorithm,
               "PMF::PCRMetadataFileExtension has unsupported hash algorithm. Actual %s(0x%02x), expected %s(0x%02x).",
               hash_algorithm_name(it.algorithm), it.algorithm, hash_algorithm_name(algorithm), algorithm)
        .field("expected", algorithm)
        .field("actual", it.algorithm);
}

constexpr pmf_rule<extension> required_rules[] = {algorithm_is_supported};

result index_is_a_pcr(const entry& it) {
    return demand("pmf-pcr-entry-index"_id, it.entry.index < pcr_count,
                  "PMF::PCRMetadataFileExtension PCR Entry[%zu] has id [%d]. PCR id must be in range <0, %d>.",
                  it.index, it.entry.index, as_int(pcr_count - 1))
        .field("entry", it.index + 1)
        .field("pcr", it.entry.index)
        .field("limit", pcr_count - 1);
}

constexpr pmf_rule<entry> required_entry_rules[] = {index_is_a_pcr};

result reserved_is_zero(const extension& it) {
    if (all_zero(it.reserved)) {
        return result::success;
    }
    return violated("pmf-pcrs-reserved-set"_id,
                    "PMF::PCRMetadataFileExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
                    upper_hex(it.reserved).c_str())
        .field("actual", byte_view(it.reserved));
}

constexpr pmf_rule<extension> strict_rules[] = {reserved_is_zero};

result value_has_its_size(const entry& it) {
    if (digest_fits(it.entry.value, it.digest_size)) {
        return result::success;
    }
    const finding_lines raised =
        report(
            "pmf-pcr-value-size"_id,
            "PMF::PCRMetadataFileExtension PCR[%zu] hash is expected to contain exactly %d bytes of data, but at least one non-zero value was found in the trailing bytes.",
            it.index, as_int(it.digest_size))
            .field("entry", it.index + 1)
            .field("pcr", it.entry.index)
            .field("size", it.digest_size)
            .field("actual", byte_view(it.entry.value));
    show_digest_field(raised, it.entry.value, it.digest_size);
    return result::check_failed;
}

result entry_reserved_is_zero(const entry& it) {
    if (all_zero(it.entry.reserved)) {
        return result::success;
    }
    return violated(
               "pmf-pcr-reserved-set"_id,
               "PMF::PCRMetadataFileExtension PCR[%zu] reserved bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
               it.index, upper_hex(it.entry.reserved).c_str())
        .field("entry", it.index + 1)
        .field("pcr", it.entry.index)
        .field("actual", byte_view(it.entry.reserved));
}

constexpr pmf_rule<entry> strict_entry_rules[] = {value_has_its_size, entry_reserved_is_zero};

result run_required_rules(const extension& it) {
    RETURN_IF_FAILED(run_until_failure(required_shape, it));
    return verdict_of(count_failures(required_rules, it) + count_entry_failures(required_entry_rules, it));
}

}  // namespace

result check_required_rules(const PMF::PCRMetadataFileExtension& extension) {
    const result verdict = run_required_rules(extension);
    log_at(log_level::debug, "Validation PMF::PCRMetadataFileExtension finished with rval 0x%02x.\n",
           code_of(verdict));
    return verdict;
}

result check_strict_rules(const PMF::PCRMetadataFileExtension& extension) {
    std::size_t digest_size = 0;
    if (!ok(pmf_digest_size(extension.algorithm, digest_size))) {
        report("pmf-pcrs-algorithm-unknown"_id, "PMF::PCRMetadataFileExtension has unknown algorithm.")
            .field("value", extension.algorithm);
        return result::internal_failure;
    }
    const std::size_t errors =
        count_failures(strict_rules, extension) + count_entry_failures(strict_entry_rules, extension, digest_size);
    log_at(log_level::debug,
           "Strict validation PMF::PCRMetadataFileExtension finished with rval 0x%02x. %zu errors found.\n",
           code_of(verdict_of(errors)), errors);
    return verdict_of(errors);
}

}  // namespace vellum
