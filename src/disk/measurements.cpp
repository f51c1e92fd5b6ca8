#include "disk/measurements.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "disk/bom_file.h"
#include "disk/bom_location.h"
#include "disk/gpt.h"
#include "disk/partitions.h"

namespace vellum {
namespace {

// One partition of the PMF under examination.
struct subject {
    std::size_t index;
    const PMF::PartitionEntry& partition;
};

// " - PMF::DiskMetadataFileExtension Partition[0] with LBA range: 800-fff: TEXT".
finding_lines report_partition(finding_id id, const subject& subject, const std::string& text) {
    return report(id, " - %s Partition[%llu] with LBA range: %llx-%llx: %s", pmf_disk_metadata_name,
                  as_ull(subject.index), as_ull(subject.partition.base), as_ull(subject.partition.limit),
                  text.c_str())
        .field("partition", subject.index + 1)
        .field("first_lba", subject.partition.base)
        .field("last_lba", subject.partition.limit);
}

// The volume with exactly the partition's extent; of several, the one with the letter.
const disk_volume* find_volume(const std::vector<disk_volume>& volumes, const PMF::PartitionEntry& partition,
                               char letter) {
    const disk_volume* found = nullptr;
    for (const disk_volume& volume : volumes) {
        const bool same_extent = volume.first_lba == partition.base && volume.last_lba == partition.limit;
        if (same_extent && (found == nullptr || to_upper(volume.letter) == to_upper(letter))) {
            found = &volume;
        }
    }
    return found;
}

result compare_hash(const subject& subject, const bom_location& location, const disk_volume& volume) {
    sha256_value actual{};
    if (!ok(hash_bom_file(volume, location.path, actual))) {
        report_partition("bom-file-not-hashed"_id, subject, "BOM file \"" + location.text + "\" could not be hashed.")
            .field("file", location.text);
        return result::check_failed;
    }
    const auto expected = byte_view(subject.partition.hash).first<sizeof(sha256_value)>();
    if (equal_bytes(actual, expected)) {
        return result::success;
    }
    report_partition("bom-hash-differs"_id, subject,
                     "SHA-256 of BOM file \"" + location.text + "\" does not match the partition hash.")
        .field("file", location.text)
        .field("expected", byte_view(expected))
        .field("expected_source", "PMF")
        .field("actual", byte_view(actual))
        .field("actual_source", "volume")
        .line("    Actual (volume): %s", sha256_text(actual).c_str())
        .line("    Expected (PMF):  %s", sha256_text(expected).c_str());
    return result::check_failed;
}

enum class letter_rule { must_match, mismatch_is_a_warning };

// Success, check_failed, or with the rule that allows it a warning, which is raised and counts as success.
result check_letter(const subject& subject, const bom_location& location, const disk_volume& volume, letter_rule rule,
                    bool& warning) {
    if (to_upper(volume.letter) == to_upper(location.letter)) {
        return result::success;
    }
    const std::string finding = "BOM location \"" + location.text + "\" names another volume than " +
                                std::string(1, to_upper(volume.letter)) + ":, which has this LBA range.";
    if (rule == letter_rule::mismatch_is_a_warning) {
        warning = true;
        report_partition("bom-volume-letter-allowed"_id, subject, "WARNING: " + finding)
            .field("file", location.text)
            .field("volume", std::string(1, to_upper(volume.letter)));
        return result::success;
    }
    report_partition("bom-volume-letter-differs"_id, subject, finding)
        .field("file", location.text)
        .field("volume", std::string(1, to_upper(volume.letter)));
    return result::check_failed;
}

result check_bom(const subject& subject, const std::vector<disk_volume>& volumes, letter_rule rule, bool& warning) {
    bom_location location;
    if (const char* wrong = parse_bom_location(subject.partition.measurement, location); wrong != nullptr) {
        report_partition("bom-location-invalid"_id, subject,
                         std::string("BOM location is invalid: it ") + wrong + ".")
            .field("value", wrong);
        return result::check_failed;
    }
    const disk_volume* volume = find_volume(volumes, subject.partition, location.letter);
    if (volume == nullptr) {
        report_partition(
            "bom-volume-missing"_id, subject,
            "No volume of the boot disk has this LBA range, BOM location \"" + location.text + "\" cannot be used.")
            .field("file", location.text);
        return result::check_failed;
    }
    RETURN_IF_FAILED(check_letter(subject, location, *volume, rule, warning));
    return compare_hash(subject, location, *volume);
}

bool is_measured(const PMF::PartitionEntry& partition) {
    return partition.measurement_type != static_cast<std::uint32_t>(PmfMeasurementType::no_measurement);
}

result check_partition(const subject& subject, const std::vector<disk_volume>& volumes, letter_rule rule,
                       bool& warning) {
    if (!is_measured(subject.partition)) {
        return result::success;
    }
    if (subject.partition.measurement_type == static_cast<std::uint32_t>(PmfMeasurementType::bom_provided)) {
        return check_bom(subject, volumes, rule, warning);
    }
    const char* type = measurement_type_name(subject.partition.measurement_type);
    report_partition("partition-measurement-unsupported"_id, subject,
                     std::string("Measurement Type ") + type + " is not supported.")
        .field("value", type);
    return result::check_failed;
}

result check_boms(disk& boot_disk, const std::vector<PMF::PartitionEntry>& partitions, letter_rule rule,
                  bool& warning) {
    if (std::none_of(partitions.begin(), partitions.end(), is_measured)) {
        return result::success;
    }
    std::vector<disk_volume> volumes;
    if (const os_status read = boot_disk.volumes(volumes); !ok(read)) {
        report("disk-volumes-unreadable"_id, "Could not read volumes of the boot disk.").system_error(read);
        return result::io_failure;
    }
    result outcome = result::success;
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        if (const result checked = check_partition({i, partitions[i]}, volumes, rule, warning); !ok(checked)) {
            outcome = checked;
        }
    }
    if (!ok(outcome)) {
        report("disk-measurements-differ"_id, "Disk measurements in %s do not match the volumes of the boot disk.",
               pmf_disk_metadata_name);
    }
    return outcome;
}

std::pair<std::uint64_t, std::uint64_t> range_of(const gpt_partition& entry) {
    return {entry.first_lba, entry.last_lba};
}

void report_repeated(const gpt_partition& entry) {
    report("disk-partition-repeated"_id, " - %s has more than one Partition with LBA range: %llx-%llx.",
           disk_gpt_label, as_ull(entry.first_lba), as_ull(entry.last_lba))
        .field("first_lba", entry.first_lba)
        .field("last_lba", entry.last_lba);
}

void report_overlap(const gpt_partition& entry, const gpt_partition& other) {
    report("disk-partitions-overlap"_id,
           " - %s Partition with LBA range: %llx-%llx overlaps Partition with LBA range: %llx-%llx.", disk_gpt_label,
           as_ull(entry.first_lba), as_ull(entry.last_lba), as_ull(other.first_lba), as_ull(other.last_lba))
        .field("first_lba", entry.first_lba)
        .field("last_lba", entry.last_lba)
        .field("other_first_lba", other.first_lba)
        .field("other_last_lba", other.last_lba);
}

// The comparison is content with one entry for each partition of the PMF, whatever else uses its sectors.
result demand_sectors_of_their_own(std::vector<gpt_partition> entries) {
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return range_of(a) < range_of(b); });
    result outcome = result::success;
    const gpt_partition* previous = nullptr;
    const gpt_partition* furthest = nullptr;  // of those before the entry, the one that ends last
    for (const gpt_partition& entry : entries) {
        if (previous != nullptr && range_of(entry) == range_of(*previous)) {
            report_repeated(entry);
            outcome = result::check_failed;
        } else if (furthest != nullptr && entry.first_lba <= furthest->last_lba) {
            report_overlap(entry, *furthest);
            outcome = result::check_failed;
        }
        previous = &entry;
        furthest = furthest == nullptr || entry.last_lba > furthest->last_lba ? &entry : furthest;
    }
    if (!ok(outcome)) {
        report("disk-partitions-share-sectors"_id, "Disk partitions in %s share sectors.", disk_gpt_label);
    }
    return outcome;
}

result compare_with_disk_gpt(disk& boot_disk, const PMF::DiskMetadataFileExtension& pmf, gpt_partitions& gpt) {
    if (const result got = read_disk_gpt(boot_disk, gpt); !ok(got)) {
        report("disk-partitions-unreadable"_id, "Could not read partitions of the boot disk.");
        return got;
    }
    const result compared = compare_gpt_partitions(gpt, pmf);
    return ok(compared) ? demand_sectors_of_their_own(gpt.entries) : compared;
}

}  // namespace

stage_outcome check_disk_measurements(disk& boot_disk, const PMF::DiskMetadataFileExtension& pmf,
                                      bool letter_mismatch_allowed, gpt_partitions& table) {
    const letter_rule rule = letter_mismatch_allowed ? letter_rule::mismatch_is_a_warning : letter_rule::must_match;
    bool warning = false;
    const result partitions = compare_with_disk_gpt(boot_disk, pmf, table);
    const result boms = check_boms(boot_disk, pmf.entries, rule, warning);
    if (!ok(partitions) || !ok(boms)) {
        return failed();
    }
    return pass_or_warn(warning);
}

}  // namespace vellum
