// The rules of the disk metadata.
#include <optional>

#include "base/text.h"
#include "core/findings.h"
#include "pmf/rule_set.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

using extension = PMF::DiskMetadataFileExtension;
using partition = pmf_entry<extension, PMF::PartitionEntry>;

constexpr auto extension_type = static_cast<std::uint32_t>(PmfExtensionType::disk_metadata);
constexpr auto no_algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::none);
constexpr auto algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::sha256);
constexpr auto no_measurement = static_cast<std::uint32_t>(PmfMeasurementType::no_measurement);
constexpr auto bom_provided = static_cast<std::uint32_t>(PmfMeasurementType::bom_provided);
constexpr std::size_t min_length = pmf_size<extension>;

result type_is_its_own(const extension& it) {
    return demand("pmf-disk-type"_id, it.type == extension_type,
                  "PMF::DiskMetadataFileExtension has invalid type. Actual (0x%02x), expected (0x%02x).", it.type,
                  extension_type)
        .field("expected", extension_type)
        .field("actual", it.type);
}

result head_fits(const extension& it) {
    return demand("pmf-disk-length-too-short"_id, it.length >= min_length,
                  "PMF::DiskMetadataFileExtension length (%d) is shorter than minimal allowed extension size (%d).",
                  as_int(it.length), as_int(min_length))
        .field("expected", min_length)
        .field("actual", it.length);
}

result entries_have_their_size(const extension& it) {
    return demand("pmf-disk-entry-size"_id, it.entry_size == pmf_size<PMF::PartitionEntry>,
                  "PMF::DiskMetadataFileExtension Entry Size has invalid value. Actual (%d), expected (%zu).",
                  it.entry_size, pmf_size<PMF::PartitionEntry>)
        .field("expected", pmf_size<PMF::PartitionEntry>)
        .field("actual", it.entry_size);
}

result length_follows_from_count(const extension& it) {
    const std::size_t expected = it.count * pmf_size<PMF::PartitionEntry> + min_length;
    return demand("pmf-disk-length"_id, it.length == expected,
                  "PMF::DiskMetadataFileExtension has invalid length. Actual (%d), expected (%d).", as_int(it.length),
                  as_int(expected))
        .field("expected", expected)
        .field("actual", it.length);
}

result algorithm_is_supported(const extension& it) {
    return demand(
               "pmf-disk-algorithm"_id, it.algorithm == no_algorithm || it.algorithm == algorithm,
               "PMF::DiskMetadataFileExtension hash algorithm %s(0x%02x) is not supported in this release. Supported algorithm is %s(0x%02x).",
               hash_algorithm_name(it.algorithm), it.algorithm, hash_algorithm_name(algorithm), algorithm)
        .field("expected", algorithm)
        .field("actual", it.algorithm);
}

constexpr pmf_rule<extension> required_rules[] = {type_is_its_own, head_fits, entries_have_their_size,
                                                  length_follows_from_count, algorithm_is_supported};

result measurement_is_supported(const partition& it) {
    const std::uint32_t type = it.entry.measurement_type;
    return demand(
               "pmf-partition-measurement-type"_id, type == no_measurement || type == bom_provided,
               "PMF::DiskMetadataFileExtension Partition[%zu] Measurement Type %s(0x%02x) is not supported by this release. Supported Measurement Types supported: %s(0x%02x), %s(0x%02x)",
               it.index, measurement_type_name(type), type, measurement_type_name(no_measurement), no_measurement,
               measurement_type_name(bom_provided), bom_provided)
        .field("partition", it.index + 1)
        .field("actual", type);
}

result measurement_has_an_algorithm(const partition& it) {
    const std::uint32_t type = it.entry.measurement_type;
    const char* none = hash_algorithm_name(no_algorithm);
    return demand(
               "pmf-partition-measurement-without-algorithm"_id,
               it.extension.algorithm != no_algorithm || type == no_measurement,
               "PMF::DiskMetadataFileExtension Hash Algorithm is set to %s(0x%02x). For Hash Algorithm %s(0x%02x) PMF::DiskMetadataFileExtension Partition[%zu] Measurement Type shall be %s(0x%02x), but actual value is %s(0x%02x).",
               none, no_algorithm, none, no_algorithm, it.index, measurement_type_name(no_measurement),
               no_measurement, measurement_type_name(type), type)
        .field("partition", it.index + 1)
        .field("expected", no_measurement)
        .field("actual", type);
}

constexpr pmf_rule<partition> required_partition_rules[] = {measurement_is_supported, measurement_has_an_algorithm};

result reserved_is_zero(const extension& it) {
    if (all_zero(it.reserved)) {
        return result::success;
    }
    return violated(
               "pmf-disk-reserved-set"_id,
               "PMF::DiskMetadataFileExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
               upper_hex(it.reserved).c_str())
        .field("actual", byte_view(it.reserved));
}

constexpr pmf_rule<extension> strict_rules[] = {reserved_is_zero};

// The text says "smaller" of a base that is larger.
result base_is_below_limit(const partition& it) {
    return demand(
               "pmf-partition-range-reversed"_id, it.entry.base <= it.entry.limit,
               "PMF::DiskMetadataFileExtension Partition[%zu] base offset (0x%02llx) is smaller than the limit offset (0x%02llx).",
               it.index, as_ull(it.entry.base), as_ull(it.entry.limit))
        .field("partition", it.index + 1)
        .field("first_lba", it.entry.base)
        .field("last_lba", it.entry.limit);
}

result partition_reserved_is_zero(const partition& it) {
    if (all_zero(it.entry.reserved)) {
        return result::success;
    }
    return violated(
               "pmf-partition-reserved-set"_id,
               "PMF::DiskMetadataFileExtension Partition[%zu] reserved bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
               it.index, upper_hex(it.entry.reserved).c_str())
        .field("partition", it.index + 1)
        .field("actual", byte_view(it.entry.reserved));
}

result hash_has_its_size(const partition& it) {
    if (it.entry.measurement_type != no_measurement) {
        if (digest_fits(it.entry.hash, it.digest_size)) {
            return result::success;
        }
        const finding_lines raised =
            report(
                "pmf-partition-hash-size"_id,
                "PMF::DiskMetadataFileExtension Partition[%zu] hash is expected to contain exactly %d bytes of data, but at least one non-zero value was found in the trailing bytes.",
                it.index, as_int(it.digest_size))
                .field("partition", it.index + 1)
                .field("size", it.digest_size)
                .field("actual", byte_view(it.entry.hash));
        show_digest_field(raised, it.entry.hash, it.digest_size);
        return result::check_failed;
    }
    if (all_zero(it.entry.hash)) {
        return result::success;
    }
    report(
        "pmf-partition-hash-not-empty"_id,
        "PMF::DiskMetadataFileExtension Partition[%zu] hash shall contain only 0x00 when measurement type is %s(0x%02x).",
        it.index, measurement_type_name(no_measurement), no_measurement)
        .field("partition", it.index + 1)
        .field("actual", byte_view(it.entry.hash))
        .line("   Actual hash: 0x%s.", upper_hex(it.entry.hash).c_str());
    return result::check_failed;
}

result measurement_is_empty(const partition& it) {
    if (it.entry.measurement_type != no_measurement || all_zero(it.entry.measurement)) {
        return result::success;
    }
    report(
        "pmf-partition-measurement-not-empty"_id,
        "PMF::DiskMetadataFileExtension Partition[%zu] measurement specific data shall contain only 0x00 when measurement type is %s(0x%02x).",
        it.index, measurement_type_name(no_measurement), no_measurement)
        .field("partition", it.index + 1)
        .field("actual", byte_view(it.entry.measurement))
        .line("   Actual measurement data: 0x%s.", upper_hex(it.entry.measurement).c_str());
    return result::check_failed;
}

// The bytes behind the first zero unit of a UTF-16 text; nothing when it has none.
std::optional<byte_view> behind_wide_terminator(byte_view text) {
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
        if (text[at] == 0 && text[at + 1] == 0) {
            return text.subspan(at + 2);
        }
    }
    return std::nullopt;
}

result name_is_terminated(const partition& it) {
    const std::optional<byte_view> tail = behind_wide_terminator(it.entry.name);
    if (!tail) {
        return violated(
                   "pmf-partition-name-unterminated"_id,
                   "PMF::DiskMetadataFileExtension Partition[%zu] name is not properly terminated by wide null character (0x0000).",
                   it.index)
            .field("partition", it.index + 1)
            .field("name", utf16_text(it.entry.name, it.entry.name.size()));
    }
    return demand(
               "pmf-partition-name-tail"_id, all_zero(*tail),
               "PMF::DiskMetadataFileExtension Partition[%zu] name is expected to contain 0x00 bytes after first string terminator but at least one non-zero value was found in the trailing bytes.",
               it.index)
        .field("partition", it.index + 1);
}

constexpr pmf_rule<partition> strict_partition_rules[] = {
    base_is_below_limit, partition_reserved_is_zero, hash_has_its_size, measurement_is_empty, name_is_terminated};

result run_required_rules(const extension& it) {
    RETURN_IF_FAILED(run_until_failure(required_rules, it));
    return verdict_of(count_entry_failures(required_partition_rules, it));
}

}  // namespace

result check_required_rules(const PMF::DiskMetadataFileExtension& extension) {
    const result verdict = run_required_rules(extension);
    log_at(log_level::debug, "Validation PMF::DiskMetadataFileExtension finished with rval 0x%02x.\n",
           code_of(verdict));
    return verdict;
}

result check_strict_rules(const PMF::DiskMetadataFileExtension& extension) {
    std::size_t digest_size = pmf_hash_field_size;
    if (extension.algorithm != no_algorithm && !ok(pmf_digest_size(extension.algorithm, digest_size))) {
        report("pmf-disk-algorithm-unknown"_id, "PMF::DiskMetadataFileExtension has unknown algorithm.")
            .field("value", extension.algorithm);
        return result::internal_failure;
    }
    const result verdict = verdict_of(count_failures(strict_rules, extension) +
                                      count_entry_failures(strict_partition_rules, extension, digest_size));
    log_at(log_level::debug, "Strict validation PMF::DiskMetadataFileExtension finished with rval 0x%02x.\n",
           code_of(verdict));
    return verdict;
}

}  // namespace vellum
