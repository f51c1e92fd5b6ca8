#include "disk/partitions.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "disk/gpt.h"
#include "tests/disk/fixtures.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

constexpr const char* failed = "ERROR: GPT partitions validation failed.\n";

gpt_partitions event_list(const lab::gpt_table& table) {
    gpt_partitions list;
    EXPECT_EQ(build_gpt_partition_list(build_gpt_event(table), list), result::success);
    return list;
}

struct row {
    const char* name;
    void (*change)(gpt_partitions& gpt, PMF::DiskMetadataFileExtension& pmf);
    result expected;
    const char* logged;
    std::string pushed;
};

const row rows[] = {
    {"BothEmpty", [](auto& gpt, auto& pmf) { gpt.entries.clear(), pmf.entries.clear(); }, result::check_failed,
     "ERROR: PMF::DiskMetadataFileExtension and EFI GPT Event do not contain any partitions.\n", ""},
    {"NameBehindItsEnd", [](auto& gpt, auto&) { gpt.entries[0].name[71] = 'x'; }, result::success, "", ""},
    {"GptEmpty", [](auto& gpt, auto& pmf) { gpt.entries.clear(), pmf.entries.resize(1); }, result::check_failed, "",
     " - PMF::DiskMetadataFileExtension Partition with LBA range: 800-fff was not found in EFI GPT Event.\n"
     "Disk partitions in PMF::DiskMetadataFileExtension and partitions in EFI GPT Event are not the same set.\n"},
    {"GptEndsWithinTheLastPartition",
     [](auto& gpt, auto& pmf) {
         gpt.entries[2] = gpt.entries[1];
         pmf.entries.pop_back();
         std::swap(pmf.entries[0], pmf.entries[1]);
     },
     result::check_failed, failed,
     "The disk has following LBA partitions ranges: [800-fff] [1000-1fff] [1000-1fff] \n"
     "PMF::DiskMetadataFileExtension Partition[1] with LBA range: 800-fff is not present in the EFI GPT Event.\n"},
    {"TwiceInThePmf", [](auto&, auto& pmf) { pmf.entries.push_back(pmf.entries[2]); }, result::check_failed, failed,
     "The disk has following LBA partitions ranges: [800-fff] [1000-1fff] [2000-2fff] \n"
     "PMF::DiskMetadataFileExtension Partition[2] with LBA range: 2000-2fff is not present in the EFI GPT Event.\n"},
    {"TwiceInTheGpt", [](auto& gpt, auto&) { gpt.entries.insert(gpt.entries.begin(), gpt.entries[0]); },
     result::success, "", ""},
};

TEST(Partitions, AreTheSameOrSayWhy) {
    for (const row& row : rows) {
        test::log_session session;
        const lab::gpt_table table = test::three_partitions();
        gpt_partitions gpt = event_list(table);
        PMF::DiskMetadataFileExtension pmf = test::pmf_of(table);
        row.change(gpt, pmf);
        EXPECT_EQ(compare_gpt_partitions(gpt, pmf), row.expected) << row.name;
        EXPECT_EQ(session.logged(), row.logged) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

TEST(Partitions, NamesWithoutAnEndAreComparedWhole) {
    test::log_session session(log_level::off);
    lab::gpt_table table = test::three_partitions();
    table.entries[0].name = std::u16string(36, u'n');
    gpt_partitions gpt = event_list(table);
    EXPECT_EQ(compare_gpt_partitions(gpt, test::pmf_of(table)), result::success);
    gpt.entries[0].name[71] = 1;
    EXPECT_EQ(compare_partition(gpt.entries[0], test::pmf_of(table).entries[0]), partition_difference::name);
}

TEST(Partitions, TellTheirFirstDifferenceAtDebug) {
    test::log_session session(log_level::debug);
    const lab::gpt_table table = test::three_partitions();
    gpt_partition gpt = event_list(table).entries[0];
    const PMF::PartitionEntry pmf = test::pmf_of(table).entries[0];
    gpt.name[1] = 1;
    EXPECT_EQ(compare_partition(gpt, pmf), partition_difference::name);
    gpt.type_guid[0] = 0;
    EXPECT_EQ(compare_partition(gpt, pmf), partition_difference::guid);
    gpt.last_lba = 0x1FFF;
    EXPECT_EQ(compare_partition(gpt, pmf), partition_difference::range);
    gpt.first_lba = 0x1000;
    EXPECT_EQ(compare_partition(gpt, pmf), partition_difference::range);
    const std::string name = upper_hex(pmf.name);
    EXPECT_EQ(session.logged(), "    Unmatched partition name fields. From GPT: 4501" + name.substr(4) +
                                    ", from PMF: " + name +
                                    ".\n"
                                    "    Unmatched type GUID fields. From GPT: 00732AC1000000000000000000000000, "
                                    "from PMF: 28732AC1000000000000000000000000.\n"
                                    "    Unmatched end LBA fields. From GPT: 1fff, from PMF: fff.\n"
                                    "    Unmatched start LBA fields. From GPT: 1000, from PMF: 800.\n");
}

TEST(Partitions, HostileCountsStayFastAndTheRangesBounded) {
    test::log_session session(log_level::error);
    lab::gpt_table table;
    for (std::uint64_t i = 0; i < 65535; ++i) {
        table.entries.push_back({.first_lba = UINT64_MAX - 2 * i, .last_lba = UINT64_MAX - 2 * i});
    }
    gpt_partitions gpt = event_list(table);
    PMF::DiskMetadataFileExtension pmf = test::pmf_of(table);
    EXPECT_EQ(compare_gpt_partitions(gpt, pmf), result::success);
    std::reverse(pmf.entries.begin(), pmf.entries.end());
    EXPECT_EQ(compare_gpt_partitions(gpt, pmf), result::check_failed);
    const std::string pushed = session.pushed();
    EXPECT_EQ(pushed.find("..."), 46 + 28 * 36U);
    gpt.entries.clear();
    EXPECT_EQ(compare_gpt_partitions(gpt, pmf), result::check_failed);
}

}  // namespace
}  // namespace vellum
