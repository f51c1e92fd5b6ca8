#include "disk/gpt.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "core/findings.h"
#include "tests/disk/fixtures.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

using disk_change = void (*)(lab::gpt_table& table, test::fake_disk& disk);

void expect_three(const gpt_partitions& list, const char* label, const std::string& context) {
    const lab::gpt_table table = test::three_partitions();
    EXPECT_EQ(list.source_label, label);
    ASSERT_EQ(list.entries.size(), 3U) << context;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(list.entries[i].type_guid, table.entries[i].type_guid) << context;
        EXPECT_EQ(list.entries[i].first_lba, table.entries[i].first_lba) << context;
        EXPECT_EQ(list.entries[i].last_lba, table.entries[i].last_lba) << context;
    }
    EXPECT_EQ(utf16_text(list.entries[0].name, 36), "EFI system partition") << context;
}

TEST(Crc32, HasItsCheckValue) {
    EXPECT_EQ(crc32(as_bytes("123456789")), 0xCBF43926U);
    EXPECT_EQ(crc32(as_bytes("56789"), crc32(as_bytes("1234"))), 0xCBF43926U);
    EXPECT_EQ(crc32({}), 0U);
}

TEST(GptEvent, GivesItsEntriesInOrder) {
    gpt_partitions list;
    ASSERT_EQ(build_gpt_partition_list(build_gpt_event(test::three_partitions()), list), result::success);
    expect_three(list, "EFI GPT Event", "event");
    lab::gpt_table unused;
    unused.entries.push_back({.type_guid = {}});
    EXPECT_EQ(build_gpt_partition_list(build_gpt_event(unused), list), result::success);
    EXPECT_EQ(list.entries.size(), 1U) << "an event lists what is in use";
}

TEST(GptEvent, RefusesEverySizeButTheExactOne) {
    lab::gpt_table table = test::three_partitions();
    const test::bytes event = build_gpt_event(table);
    gpt_partitions list;
    test::for_each_prefix(event, [&](test::bytes cut) {
        EXPECT_EQ(build_gpt_partition_list(cut, list), result::invalid);
        EXPECT_TRUE(list.entries.empty());
    });
    test::bytes longer = event;
    longer.push_back(0);
    EXPECT_EQ(build_gpt_partition_list(longer, list), result::invalid);
    for (const std::uint64_t count : {std::uint64_t{2}, std::uint64_t{4}, std::uint64_t{1} << 57, UINT64_MAX}) {
        table.claimed_count = count;
        EXPECT_EQ(build_gpt_partition_list(build_gpt_event(table), list), result::invalid) << count;
    }
    table = {};
    EXPECT_EQ(build_gpt_partition_list(build_gpt_event(table), list), result::success);
}

const std::pair<const char*, disk_change> accepted[] = {
    {"FourKibSectors", [](auto&, auto& disk) { disk.bytes_per_sector = 4096; }},
    {"LargeEntries", [](auto& table, auto&) { table.header.entry_size = 256; }},
    {"HeaderOfAWholeSector", [](auto& table, auto&) { table.header.size = 512; }},
    {"EntriesElsewhere", [](auto& table, auto&) { table.header.entries_lba = 34; }},
    {"AreaNotAWholeSector", [](auto& table, auto&) { table.slots = 3; }},
    {"UnusedBetween",
     [](auto& table, auto&) { table.entries.insert(table.entries.begin() + 1, {.type_guid = {}, .name = u"x"}); }},
};

TEST(DiskGpt, ReadsWhatIsInUse) {
    for (const auto& [name, change] : accepted) {
        test::log_session session(log_level::off);
        lab::gpt_table table = test::three_partitions();
        test::fake_disk disk;
        change(table, disk);
        disk.sectors = build_disk(table, disk.bytes_per_sector);
        gpt_partitions list;
        EXPECT_EQ(read_disk_gpt(disk, list), result::success) << name;
        EXPECT_EQ(session.pushed(), "") << name;
        expect_three(list, "Disk GPT", name);
    }
}

struct refused_row {
    const char* name;
    disk_change change;
    result expected;
    const char* pushed;  // its beginning
};

const refused_row refused[] = {
    {"NoSectorSize", [](auto&, auto& disk) { disk.size_error = 5; }, result::io_failure,
     "Could not read sector size of the boot disk. Error: system text 5\n"},
    {"OddSector", [](auto&, auto& disk) { disk.bytes_per_sector = 513; }, result::invalid,
     "Sector size of the boot disk (513) is not supported.\n"},
    {"HugeSector", [](auto&, auto& disk) { disk.bytes_per_sector = 0x80000000; }, result::invalid,
     "Sector size of the boot disk (2147483648) is not supported.\n"},
    {"ShortHeader", [](auto& table, auto&) { table.header.size = 91; }, result::invalid,
     "Disk GPT header has invalid size. Actual (91), expected in range <92-512>.\n"},
    {"LongHeader", [](auto& table, auto&) { table.header.size = 513; }, result::invalid,
     "Disk GPT header has invalid size. Actual (513), expected in range <92-512>.\n"},
    {"OwnLba", [](auto& table, auto&) { table.header.my_lba = 2; }, result::invalid,
     "Disk GPT header has invalid LBA of its own. Actual (2), expected (1).\n"},
    {"SmallEntry", [](auto& table, auto&) { table.header.entry_size = 64; }, result::invalid,
     "Disk GPT partition entry size (64) is not supported.\n"},
    {"OddEntry", [](auto& table, auto&) { table.header.entry_size = 192; }, result::invalid,
     "Disk GPT partition entry size (192) is not supported.\n"},
    {"OneEntryTooMany", [](auto& table, auto&) { table.header.entry_count = 8193; }, result::invalid,
     "Disk GPT partition entries (8193 of 128 bytes) are too large. The limit is 1048576 bytes.\n"},
    {"EntriesInTheHeader", [](auto& table, auto&) { table.header.entries_lba = 1; }, result::invalid,
     "Disk GPT partition entries have invalid LBA (1).\n"},
    {"EntriesBeyondAnyDisk", [](auto& table, auto&) { table.header.entries_lba = UINT64_MAX; }, result::invalid,
     "Disk GPT partition entries have invalid LBA (18446744073709551615).\n"},
    {"EntriesBeyondTheDisk", [](auto& table, auto&) { table.header.entry_count = 8192; }, result::io_failure,
     "Could not read GPT partition entries from the boot disk. Error: system text 23\n"},
    {"EntriesCrc", [](auto& table, auto&) { table.header.entries_crc = 0x22; }, result::invalid,
     "Disk GPT partition entries has invalid CRC32. Actual (0x"},
};

TEST(DiskGpt, RefusesATableWithItsReason) {
    for (const refused_row& row : refused) {
        test::log_session session(log_level::off);
        lab::gpt_table table = test::three_partitions();
        test::fake_disk disk;
        row.change(table, disk);
        disk.sectors = build_disk(table);
        gpt_partitions list;
        EXPECT_EQ(read_disk_gpt(disk, list), row.expected) << row.name;
        EXPECT_TRUE(list.entries.empty()) << row.name;
        const std::string pushed = session.pushed();
        EXPECT_EQ(pushed.substr(0, std::string_view(row.pushed).size()), row.pushed) << row.name;
    }
}

TEST(DiskGpt, RefusesEveryCutAndEveryChangeThatItsSumsCover) {
    test::log_session session(log_level::off);
    lab::gpt_table table = test::three_partitions();
    table.slots = 3;
    const test::bytes sectors = build_disk(table);
    const auto expect_refused = [](test::bytes damaged) {
        test::fake_disk disk;
        disk.sectors = std::move(damaged);
        gpt_partitions list;
        EXPECT_NE(read_disk_gpt(disk, list), result::success);
        EXPECT_TRUE(list.entries.empty());
        clear_messages();
    };
    test::for_each_prefix(sectors, expect_refused);
    const auto spliced = [&](std::size_t from, std::size_t size) {
        test::for_each_byte_change({sectors.begin() + static_cast<std::ptrdiff_t>(from),
                                    sectors.begin() + static_cast<std::ptrdiff_t>(from + size)},
                                   [&](const test::bytes& changed) {
                                       test::bytes damaged = sectors;
                                       std::copy(changed.begin(), changed.end(),
                                                 damaged.begin() + static_cast<std::ptrdiff_t>(from));
                                       expect_refused(damaged);
                                   });
    };
    spliced(512, 92);
    spliced(1024, 3 * 128);
}

}  // namespace
}  // namespace vellum
