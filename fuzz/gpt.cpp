// GUID partition tables: the event that measures one, and the boot disk's own.
#include "disk/gpt.h"

#include "disk/measurements.h"
#include "fuzz/fuzz_session.h"
#include "tests/disk/fixtures.h"

namespace vellum::fuzz {
namespace {

PMF::DiskMetadataFileExtension same_partitions(const gpt_partitions& table) {
    PMF::DiskMetadataFileExtension pmf;
    for (const gpt_partition& partition : table.entries) {
        PMF::PartitionEntry& entry = pmf.entries.emplace_back();
        entry.guid = partition.type_guid;
        entry.name = partition.name;
        entry.base = partition.first_lba;
        entry.limit = partition.last_lba;
    }
    return pmf;
}

void check_partitions(bool read, const gpt_partitions& table) {
    demand(read || table.entries.empty(), "a refused table leaves nothing");
    const bool equal = ok(compare_gpt_partitions(table, same_partitions(table)));
    demand(equal == !table.entries.empty(), "a table is equal to itself, unless it is empty");
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::uint8_t layout = 0;
    if (!reader.u8(layout)) {
        return;
    }
    gpt_partitions table;
    check_partitions(ok(build_gpt_partition_list(reader.rest(), table)), table);
    test::fake_disk disk;
    disk.bytes_per_sector = layout % 2 == 0 ? 512 : 4096;
    disk.sectors.assign(reader.rest().begin(), reader.rest().end());
    check_partitions(ok(read_disk_gpt(disk, table)), table);
    gpt_partitions read_table;
    any_outcome(check_disk_measurements(disk, same_partitions(table), false, read_table));
}

}  // namespace vellum::fuzz
