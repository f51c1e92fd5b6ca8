#include "disk/partitions.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/bytes.h"
#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr finding_id partition_missing = "partition-missing"_id;

using lba_range = std::pair<std::uint64_t, std::uint64_t>;

lba_range range_of(const gpt_partition& partition) {
    return {partition.first_lba, partition.last_lba};
}

lba_range range_of(const PMF::PartitionEntry& partition) {
    return {partition.base, partition.limit};
}

// Up to the first zero unit; what stands behind it is not part of the name.
bool equal_names(const partition_name& a, const partition_name& b) {
    byte_reader first(a);
    byte_reader second(b);
    std::uint16_t unit_of_first = 0;
    std::uint16_t unit_of_second = 0;
    while (first.u16_le(unit_of_first) && second.u16_le(unit_of_second)) {
        if (unit_of_first != unit_of_second) {
            return false;
        }
        if (unit_of_first == 0) {
            return true;
        }
    }
    return true;
}

// Set test ------------------------------------------------------------------------------------------------------

template <typename Partition>
std::vector<lba_range> sorted_ranges(const std::vector<Partition>& entries) {
    std::vector<lba_range> ranges;
    ranges.reserve(entries.size());
    for (const Partition& entry : entries) {
        ranges.push_back(range_of(entry));
    }
    std::sort(ranges.begin(), ranges.end());
    return ranges;
}

// Reports each entry whose range the other list lacks; false when there is one.
template <typename Partition, typename Other>
bool contained(const std::vector<Partition>& entries, const char* name, const std::vector<Other>& others,
               const char* other_name) {
    const std::vector<lba_range> ranges = sorted_ranges(others);
    bool complete = true;
    for (const Partition& entry : entries) {
        const auto [first, last] = range_of(entry);
        if (!std::binary_search(ranges.begin(), ranges.end(), lba_range(first, last))) {
            report(partition_missing, " - %s Partition with LBA range: %llx-%llx was not found in %s.", name,
                   as_ull(first), as_ull(last), other_name)
                .field("expected_source", name)
                .field("actual_source", other_name)
                .field("first_lba", first)
                .field("last_lba", last);
            complete = false;
        }
    }
    return complete;
}

bool same_set(const gpt_partitions& gpt, const PMF::DiskMetadataFileExtension& pmf) {
    const char* label = gpt.source_label.c_str();
    const bool pmf_contained = contained(pmf.entries, pmf_disk_metadata_name, gpt.entries, label);
    const bool gpt_contained = contained(gpt.entries, label, pmf.entries, pmf_disk_metadata_name);
    if (pmf_contained && gpt_contained) {
        return true;
    }
    report("partition-sets-differ"_id, "Disk partitions in %s and partitions in %s are not the same set.",
           pmf_disk_metadata_name, label)
        .field("expected_source", pmf_disk_metadata_name)
        .field("actual_source", label);
    return false;
}

// Ordered walk --------------------------------------------------------------------------------------------------

// The ranges of the GPT partitions that were visited. Those that no longer fit are left out, which an ellipsis shows.
class ranges_text {
  public:
    void append(const gpt_partition& partition) {
        std::array<char, 40> range{};
        const int length = std::snprintf(range.data(), range.size(), "[%llx-%llx] ", as_ull(partition.first_lba),
                                         as_ull(partition.last_lba));
        if (cut_ || text_.size() + static_cast<std::size_t>(length) >= capacity) {
            cut_ = true;
            return;
        }
        text_ += range.data();
    }

    std::string text() const { return cut_ ? text_ + "..." : text_; }

  private:
    static constexpr std::size_t capacity = 1024;  // bytes, terminator included

    std::string text_;
    bool cut_ = false;
};

// The first four are those of partition_difference.
enum class walk_result { same = 0, range_differs = 1, guid_differs = 2, name_differs = 3, gpt_ended = 4 };

struct ordered_walk {
    walk_result last = walk_result::same;
    std::size_t pmf_index = 0;  // the PMF's count when the walk went through all of it
    std::size_t gpt_index = 0;
    ranges_text visited;
};

void log_pmf_partition(const PMF::PartitionEntry& partition, std::size_t index) {
    if (log_enabled(log_level::debug)) {
        log_at(log_level::debug,
               "Checked for PMF disk partition: {%s} LBA:[%llx-%llx] at index [%llu] in the Disk Metadata Extension.",
               guid_text(partition.guid).c_str(), as_ull(partition.base), as_ull(partition.limit), as_ull(index));
    }
}

void log_gpt_partition(const gpt_partition& partition, std::size_t index) {
    if (log_enabled(log_level::debug)) {
        log_at(log_level::debug, "  Compared with GPT Partition: {%s} LBA:[%llx-%llx] at index [%llu]",
               guid_text(partition.type_guid).c_str(), as_ull(partition.first_lba), as_ull(partition.last_lba),
               as_ull(index));
    }
}

// Looks for the PMF partition from the walk's GPT partition onward and moves past it. The index stays on a partition
// that differs in more than its range.
void find_in_gpt(ordered_walk& walk, const std::vector<gpt_partition>& entries, const PMF::PartitionEntry& wanted) {
    while (walk.gpt_index < entries.size()) {
        const gpt_partition& candidate = entries[walk.gpt_index];
        log_gpt_partition(candidate, walk.gpt_index);
        walk.visited.append(candidate);
        walk.last = static_cast<walk_result>(compare_partition(candidate, wanted));
        if (walk.last == walk_result::guid_differs || walk.last == walk_result::name_differs) {
            return;
        }
        ++walk.gpt_index;
        if (walk.last == walk_result::same) {
            return;
        }
    }
}

ordered_walk walk_in_order(const std::vector<gpt_partition>& gpt, const std::vector<PMF::PartitionEntry>& pmf) {
    ordered_walk walk;
    for (; walk.pmf_index < pmf.size(); ++walk.pmf_index) {
        log_pmf_partition(pmf[walk.pmf_index], walk.pmf_index);
        if (walk.gpt_index >= gpt.size()) {
            log_at(log_level::debug, "  Last partition in the GPT has been reached. Further comparison stopped.");
            walk.last = walk_result::gpt_ended;
            return walk;
        }
        find_in_gpt(walk, gpt, pmf[walk.pmf_index]);
        if (walk.last == walk_result::guid_differs || walk.last == walk_result::name_differs) {
            return walk;
        }
    }
    return walk;
}

// The index counts what the walk had finished, so it is one low when the GPT ended before this partition's turn.
void report_absent(const ordered_walk& walk, const std::vector<PMF::PartitionEntry>& partitions, std::size_t index,
                   const char* label) {
    const PMF::PartitionEntry& partition = partitions[index];
    report("partition-absent"_id, "%s Partition[%llu] with LBA range: %llx-%llx is not present in the %s.",
           pmf_disk_metadata_name, as_ull(walk.pmf_index) - 1, as_ull(partition.base), as_ull(partition.limit), label)
        .field("partition", index + 1)
        .field("first_lba", partition.base)
        .field("last_lba", partition.limit)
        .field("guid", guid_text(partition.guid))
        .field("actual_source", label)
        .line("The disk has following LBA partitions ranges: %s", walk.visited.text().c_str());
}

void report_guids(const ordered_walk& walk, const gpt_partition& gpt, const PMF::PartitionEntry& pmf,
                  const char* label) {
    report("partition-guid-differs"_id, "%s Partition[%llu] with LBA range: %llx-%llx (GUID: %s)",
           pmf_disk_metadata_name, as_ull(walk.pmf_index), as_ull(pmf.base), as_ull(pmf.limit),
           guid_text(pmf.guid).c_str())
        .field("partition", walk.pmf_index + 1)
        .field("first_lba", pmf.base)
        .field("last_lba", pmf.limit)
        .field("expected", guid_text(pmf.guid))
        .field("expected_source", "PMF")
        .field("actual", guid_text(gpt.type_guid))
        .field("actual_source", label)
        .line("does not match %s Partition[%llu] with LBA range: %llx-%llx (GUID: %s).", label,
              as_ull(walk.gpt_index), as_ull(gpt.first_lba), as_ull(gpt.last_lba), guid_text(gpt.type_guid).c_str());
}

void report_names(const ordered_walk& walk, const gpt_partition& gpt, const PMF::PartitionEntry& pmf,
                  const char* label) {
    report("partition-name-differs"_id, "%s Partition[%llu] with LBA range: %llx-%llx (Name: %s)",
           pmf_disk_metadata_name, as_ull(walk.pmf_index), as_ull(pmf.base), as_ull(pmf.limit),
           utf16_text(pmf.name, partition_name_units).c_str())
        .field("partition", walk.pmf_index + 1)
        .field("first_lba", pmf.base)
        .field("last_lba", pmf.limit)
        .field("expected", utf16_text(pmf.name, partition_name_units))
        .field("expected_source", "PMF")
        .field("actual", utf16_text(gpt.name, partition_name_units))
        .field("actual_source", label)
        .line("does not match %s Partition[%llu] with LBA range: %llx-%llx (Name: %s).", label,
              as_ull(walk.gpt_index), as_ull(gpt.first_lba), as_ull(gpt.last_lba),
              utf16_text(gpt.name, partition_name_units).c_str());
}

result report(const ordered_walk& walk, const gpt_partitions& gpt, const PMF::DiskMetadataFileExtension& pmf) {
    const char* label = gpt.source_label.c_str();
    switch (walk.last) {
        case walk_result::same: return result::success;
        case walk_result::range_differs: report_absent(walk, pmf.entries, walk.pmf_index - 1, label); break;
        case walk_result::gpt_ended: report_absent(walk, pmf.entries, walk.pmf_index, label); break;
        case walk_result::guid_differs:
            report_guids(walk, gpt.entries[walk.gpt_index], pmf.entries[walk.pmf_index], label);
            break;
        case walk_result::name_differs:
            report_names(walk, gpt.entries[walk.gpt_index], pmf.entries[walk.pmf_index], label);
            break;
    }
    log_at(log_level::error, "GPT partitions validation failed.");
    return result::check_failed;
}

}  // namespace

partition_difference compare_partition(const gpt_partition& gpt, const PMF::PartitionEntry& pmf) {
    if (gpt.first_lba != pmf.base) {
        log_at(log_level::debug, "    Unmatched start LBA fields. From GPT: %llx, from PMF: %llx.",
               as_ull(gpt.first_lba), as_ull(pmf.base));
        return partition_difference::range;
    }
    if (gpt.last_lba != pmf.limit) {
        log_at(log_level::debug, "    Unmatched end LBA fields. From GPT: %llx, from PMF: %llx.",
               as_ull(gpt.last_lba), as_ull(pmf.limit));
        return partition_difference::range;
    }
    if (gpt.type_guid != pmf.guid) {
        log_at(log_level::debug, "    Unmatched type GUID fields. From GPT: %s, from PMF: %s.",
               upper_hex(gpt.type_guid).c_str(), upper_hex(pmf.guid).c_str());
        return partition_difference::guid;
    }
    if (!equal_names(gpt.name, pmf.name)) {
        log_at(log_level::debug, "    Unmatched partition name fields. From GPT: %s, from PMF: %s.",
               upper_hex(gpt.name).c_str(), upper_hex(pmf.name).c_str());
        return partition_difference::name;
    }
    log_at(log_level::debug, "    Comparison of partitions succeeded.");
    return partition_difference::none;
}

result compare_gpt_partitions(const gpt_partitions& gpt, const PMF::DiskMetadataFileExtension& pmf) {
    if (gpt.source_label != gpt_event_label && gpt.source_label != disk_gpt_label) {
        log_at(log_level::error, "Invalid GPT source label.");
        note("partition-source-unknown"_id).field("value", gpt.source_label);
        return result::check_failed;
    }
    if (gpt.entries.empty() && pmf.entries.empty()) {
        log_at(log_level::error, "%s and %s do not contain any partitions.", pmf_disk_metadata_name,
               gpt.source_label.c_str());
        note("partition-lists-empty"_id)
            .field("expected_source", pmf_disk_metadata_name)
            .field("actual_source", gpt.source_label);
        return result::check_failed;
    }
    if (!same_set(gpt, pmf)) {
        return result::check_failed;
    }
    return report(walk_in_order(gpt.entries, pmf.entries), gpt, pmf);
}

}  // namespace vellum
