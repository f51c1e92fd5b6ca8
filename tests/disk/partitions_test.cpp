#include "disk/partitions.h"

#include <gtest/gtest.h>

#include "disk/gpt.h"
#include "tests/disk/fixtures.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

constexpr const char* failed = "ERROR: GPT partitions validation failed.\n";
constexpr const char* efi_guid = "C12A7328-0000-0000-0000-000000000000";

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
    {"Same", [](auto&, auto&) {}, result::success, "", ""},
    {"DiskLabel", [](auto& gpt, auto&) { gpt.source_label = "Disk GPT"; }, result::success, "", ""},
    {"OtherLabel", [](auto& gpt, auto&) { gpt.source_label = "Disk"; }, result::check_failed,
     "ERROR: Invalid GPT source label.\n", ""},
    {"BothEmpty", [](auto& gpt, auto& pmf) { gpt.entries.clear(), pmf.entries.clear(); }, result::check_failed,
     "ERROR: PMF::DiskMetadataFileExtension and EFI GPT Event do not contain any partitions.\n", ""},
    {"NameBehindItsEnd", [](auto& gpt, auto&) { gpt.entries[0].name[71] = 'x'; }, result::success, "", ""},
    {"MovedEnd", [](auto&, auto& pmf) { pmf.entries[1].limit = 0xABCDEF0123; }, result::check_failed, "",
     " - PMF::DiskMetadataFileExtension Partition with LBA range: 1000-abcdef0123 was not found in EFI GPT Event.\n"
     " - EFI GPT Event Partition with LBA range: 1000-1fff was not found in PMF::DiskMetadataFileExtension.\n"
     "Disk partitions in PMF::DiskMetadataFileExtension and partitions in EFI GPT Event are not the same set.\n"},
    {"GptEmpty", [](auto& gpt, auto& pmf) { gpt.entries.clear(), pmf.entries.resize(1); }, result::check_failed, "",
     " - PMF::DiskMetadataFileExtension Partition with LBA range: 800-fff was not found in EFI GPT Event.\n"
     "Disk partitions in PMF::DiskMetadataFileExtension and partitions in EFI GPT Event are not the same set.\n"},
    {"OtherGuid", [](auto&, auto& pmf) { pmf.entries[1].guid = {}; }, result::check_failed, failed,
     "does not match EFI GPT Event Partition[1] with LBA range: 1000-1fff (GUID: "
     "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7).\n"
     "PMF::DiskMetadataFileExtension Partition[1] with LBA range: 1000-1fff (GUID: "
     "00000000-0000-0000-0000-000000000000)\n"},
    {"OtherName", [](auto& gpt, auto&) { gpt.entries[2].name[0] = 'K'; }, result::check_failed, failed,
     "does not match EFI GPT Event Partition[2] with LBA range: 2000-2fff (Name: Katen ?).\n"
     "PMF::DiskMetadataFileExtension Partition[2] with LBA range: 2000-2fff (Name: Daten ?)\n"},
    {"LastIsBeforeTheOthers", [](auto&, auto& pmf) { std::swap(pmf.entries[1], pmf.entries[2]); },
     result::check_failed, failed,
     "The disk has following LBA partitions ranges: [800-fff] [1000-1fff] [2000-2fff] \n"
     "PMF::DiskMetadataFileExtension Partition[1] with LBA range: 1000-1fff is not present in the EFI GPT Event.\n"},
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

TEST(Partitions, LogsEachStepOfTheWalk) {
    test::log_session session(log_level::debug);
    const lab::gpt_table table = test::three_partitions();
    gpt_partitions gpt = event_list(table);
    PMF::DiskMetadataFileExtension pmf = test::pmf_of(table);
    gpt.entries.insert(gpt.entries.begin(), gpt.entries[1]);
    gpt.entries[1].name[1] = 1;
    EXPECT_EQ(compare_gpt_partitions(gpt, pmf), result::check_failed);
    const std::string name =
        "4500460049002000730079007300740065006D00200070006100720074006900740069006F006E00" + std::string(64, '0');
    EXPECT_EQ(
        session.logged(),
        "Checked for PMF disk partition: {" + std::string(efi_guid) +
            "} LBA:[800-fff] at index [0] in the Disk Metadata Extension.\n"
            "  Compared with GPT Partition: {EBD0A0A2-B9E5-4433-87C0-68B6B72699C7} LBA:[1000-1fff] at index [0]\n"
            "    Unmatched start LBA fields. From GPT: 1000, from PMF: 800.\n"
            "  Compared with GPT Partition: {" +
            efi_guid +
            "} LBA:[800-fff] at index [1]\n"
            "    Unmatched partition name fields. From GPT: 4501" +
            name.substr(4) + ", from PMF: " + name + ".\n" + failed);
    gpt.entries[0].first_lba = 0x800;
    gpt.entries[1].type_guid[0] = 0;
    EXPECT_EQ(compare_partition(gpt.entries[0], pmf.entries[0]), partition_difference::range);
    EXPECT_EQ(compare_partition(gpt.entries[1], pmf.entries[0]), partition_difference::guid);
    EXPECT_EQ(compare_partition(gpt.entries[3], pmf.entries[2]), partition_difference::none);
    EXPECT_EQ(session.logged(),
              "    Unmatched end LBA fields. From GPT: 1fff, from PMF: fff.\n"
              "    Unmatched type GUID fields. From GPT: 00732AC1000000000000000000000000, from PMF: "
              "28732AC1000000000000000000000000.\n"
              "    Comparison of partitions succeeded.\n");
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
