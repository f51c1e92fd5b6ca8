// A boot disk in memory, and the PMF's list of the same partitions.
#pragma once

#include <algorithm>
#include <utility>

#include "disk/partitions.h"
#include "lab/gpt_builder.h"
#include "platform/disk.h"
#include "tests/support/tamper.h"

namespace vellum::test {

class fake_disk final : public disk {
  public:
    std::uint32_t bytes_per_sector = 512;
    bytes sectors;
    std::vector<disk_volume> known_volumes;
    std::uint32_t size_error = 0;
    std::uint32_t volumes_error = 0;

    os_status sector_size(std::uint32_t& out) override {
        out = bytes_per_sector;
        return os_status(size_error);
    }
    os_status read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) override {
        if (first_lba > sectors.size() / bytes_per_sector ||
            sectors.size() - first_lba * bytes_per_sector < buffer.size()) {
            return os_status(23);
        }
        std::copy_n(sectors.begin() + static_cast<std::ptrdiff_t>(first_lba * bytes_per_sector), buffer.size(),
                    buffer.begin());
        return os_status::success;
    }
    os_status volumes(std::vector<disk_volume>& out) override {
        out = known_volumes;
        return os_status(volumes_error);
    }
};

// Three partitions: 800-fff, 1000-1fff, 2000-2fff.
inline lab::gpt_table three_partitions() {
    lab::gpt_table table;
    table.entries.resize(3);
    table.entries[0] = {.type_guid = {0x28, 0x73, 0x2A, 0xC1}, .name = u"EFI system partition"};
    table.entries[1] = {.first_lba = 0x1000, .last_lba = 0x1FFF};
    table.entries[2] = {.first_lba = 0x2000, .last_lba = 0x2FFF, .name = u"Daten \u00e4"};
    return table;
}

// The PMF's list, field by field the same.
inline PMF::DiskMetadataFileExtension pmf_of(const lab::gpt_table& table) {
    PMF::DiskMetadataFileExtension pmf;
    for (const lab::gpt_entry& entry : table.entries) {
        PMF::PartitionEntry& partition = pmf.entries.emplace_back();
        partition.guid = entry.type_guid;
        partition.base = entry.first_lba;
        partition.limit = entry.last_lba;
        for (std::size_t i = 0; i < entry.name.size() && i < partition_name_units; ++i) {
            partition.name[2 * i] = static_cast<std::uint8_t>(entry.name[i]);
            partition.name[2 * i + 1] = static_cast<std::uint8_t>(entry.name[i] >> 8);
        }
    }
    pmf.count = static_cast<std::uint16_t>(pmf.entries.size());
    return pmf;
}

}  // namespace vellum::test
