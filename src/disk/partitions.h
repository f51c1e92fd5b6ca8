// Two lists of partitions, the PMF's and one in GPT order from another source, and whether they describe the same
// partitions of the same disk.
//
// LBAs are logical block addresses, both ends of a range included. A GUID is 16 bytes in the byte order of UEFI, a
// name 36 units of UTF-16LE, ended by a zero unit where it is shorter. Neither list is changed or kept.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/result.h"
#include "base/text.h"
#include "pmf/format.h"

namespace vellum {

inline constexpr std::size_t partition_name_units = 36;
using partition_name = std::array<std::uint8_t, 2 * partition_name_units>;

struct gpt_partition {
    std::array<std::uint8_t, guid_size> type_guid{};
    std::uint64_t first_lba = 0;
    std::uint64_t last_lba = 0;
    partition_name name{};
    // No stage looks at these.
    std::array<std::uint8_t, guid_size> unique_guid{};
    std::uint64_t attributes = 0;
};

// Where a list comes from; messages name it, and only these two are compared.
inline constexpr const char* gpt_event_label = "EFI GPT Event";
inline constexpr const char* disk_gpt_label = "Disk GPT";

struct gpt_partitions {
    std::string source_label;
    std::vector<gpt_partition> entries;  // in table order
};

// How messages name the PMF's list.
inline constexpr const char* pmf_disk_metadata_name = "PMF::DiskMetadataFileExtension";

enum class partition_difference { none = 0, range = 1, guid = 2, name = 3 };

// The first difference of a pair, in the order of the enumeration; it is logged at debug.
partition_difference compare_partition(const gpt_partition& gpt, const PMF::PartitionEntry& pmf);

// Success when both hold the same partitions; else check_failed, with the reasons reported. Takes time n log n in the
// entries of both lists.
result compare_gpt_partitions(const gpt_partitions& gpt, const PMF::DiskMetadataFileExtension& pmf);

}  // namespace vellum
