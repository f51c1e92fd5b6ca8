#include "disk/measurements.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/digest.h"
#include "disk/bom_location.h"
#include "tests/disk/fixtures.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

// A disk whose second partition is volume C with a BOM, and a PMF that expects it.
struct measured_device {
    test::temp_dir files;
    test::fake_disk disk;
    PMF::DiskMetadataFileExtension pmf;

    lab::gpt_table table = test::three_partitions();
    gpt_partitions found;  // by the check

    measured_device() {
        disk.sectors = build_disk(table);
        pmf = test::pmf_of(table);
        disk.known_volumes = {{'B', 0x1000, 0x1FFE, "nowhere", ""}, {'C', 0x1000, 0x1FFF, files.file("C"), ""}};
        set_bom("the bill of materials");
        set_location("c:\\bom/system.bom");
        pmf.entries[1].measurement_type = 3;
    }

    void add_to_disk(const lab::gpt_entry& entry) {
        table.entries.push_back(entry);
        disk.sectors = build_disk(table);
    }

    // The PMF lists it too.
    void add_partition(const lab::gpt_entry& entry) {
        add_to_disk(entry);
        pmf.entries.push_back(test::pmf_of(table).entries.back());
    }

    void set_bom(std::string_view content) {
        files.write("C/bom/system.bom", content);
        set_hash(content);
    }

    void set_hash(std::string_view content) {
        sha256_value hash{};
        ASSERT_EQ(sha256(as_bytes(content), hash), result::success);
        pmf.entries[1].hash = {};
        std::copy(hash.begin(), hash.end(), pmf.entries[1].hash.begin());
    }

    void set_location(std::string_view location) {
        pmf.entries[1].measurement = {};
        std::copy(location.begin(), location.end(), pmf.entries[1].measurement.begin());
    }
};

constexpr const char* at = " - PMF::DiskMetadataFileExtension Partition[1] with LBA range: 1000-1fff: ";
constexpr const char* not_equal =
    "Disk measurements in PMF::DiskMetadataFileExtension do not match the volumes of the boot disk.\n";
constexpr const char* shared = "Disk partitions in Disk GPT share sectors.\n";
constexpr const char* not_hashed = "BOM file \"c:\\bom/system.bom\" could not be hashed.\n";

struct row {
    const char* name;
    void (*change)(measured_device&);
    stage_verdict expected;
    std::string pushed;  // oldest first; DIR stands for the volume's root
};

const row rows[] = {
    {"LargeFile", [](auto& device) { device.set_bom(std::string(3 * 65536, 'x')); }, stage_verdict::passed, ""},
    {"EmptyFile", [](auto& device) { device.set_bom(""); }, stage_verdict::passed, ""},
    {"NoFile", [](auto& device) { std::filesystem::remove(device.files.path() / "C/bom/system.bom"); },
     stage_verdict::failed,
     std::string("    Cannot open file \"DIR/bom/system.bom\". Error: system text 2\n") + at + not_hashed +
         not_equal},
    {"Directory", [](auto& device) { device.set_location("C:\\bom"); }, stage_verdict::failed,
     std::string("    This is not a regular file: \"DIR/bom\".\n") + at +
         "BOM file \"C:\\bom\" could not be hashed.\n" + not_equal},
    {"LinkThatLeaves",
     [](auto& device) {
         device.files.write("outside", "the bill of materials");
         std::filesystem::create_symlink("../outside", device.files.path() / "C/link");
         device.set_location("C:\\link");
     },
     stage_verdict::failed,
     std::string("    A link leads out of the volume from file \"DIR/link\".\n") + at +
         "BOM file \"C:\\link\" could not be hashed.\n" + not_equal},
    {"LinkThatStays",
     [](auto& device) {
         std::filesystem::create_symlink("bom/system.bom", device.files.path() / "C/link");
         device.set_location("C:\\link");
     },
     stage_verdict::passed, ""},
    {"OtherCaseThatDoesNotCount",
     [](auto& device) {
         device.disk.known_volumes[1].names_ignore_case = true;
         device.set_location("C:\\.\\BOM\\System.Bom");
     },
     stage_verdict::passed, ""},
    {"CaseThatCounts", [](auto& device) { device.set_location("C:\\bom\\SYSTEM.BOM"); }, stage_verdict::failed,
     std::string("    Cannot open file \"DIR/bom/SYSTEM.BOM\". Error: system text 2\n") + at +
         "BOM file \"C:\\bom\\SYSTEM.BOM\" could not be hashed.\n" + not_equal},
    {"OtherCaseBesideTheExactName",
     [](auto& device) {
         device.disk.known_volumes[1].names_ignore_case = true;
         device.files.write("C/BOM/system.bom", "another");
         device.set_bom("the bill of materials");
     },
     stage_verdict::passed, ""},
    {"CaseOfSeveralNamesOfWhichTheFirstCounts",
     [](auto& device) {
         device.disk.known_volumes[1].names_ignore_case = true;
         for (const char* other : {"C/bom/SYSTEM.bom", "C/bom/SYSTEM.BOM", "C/bom/sYSTEM.BOM"}) {
             device.files.write(other, std::string_view(other).ends_with("/SYSTEM.BOM") ? "first" : "another");
         }
         device.files.write("C/bom/system.bom", "another");
         device.set_hash("first");
         device.set_location("C:\\bom\\System.Bom");
     },
     stage_verdict::passed, ""},
    {"CaseBehindALinkThatLeaves",
     [](auto& device) {
         device.disk.known_volumes[1].names_ignore_case = true;
         device.files.write("outside/file", "the bill of materials");
         std::filesystem::create_directory_symlink("../outside", device.files.path() / "C/link");
         device.set_location("C:\\LINK\\FILE");
     },
     stage_verdict::failed,
     std::string("    Cannot open file \"DIR/link/FILE\". Error: system text 2\n") + at +
         "BOM file \"C:\\LINK\\FILE\" could not be hashed.\n" + not_equal},
    {"TwoLettersOfOneVolume",
     [](auto& device) {
         device.disk.known_volumes.insert(device.disk.known_volumes.begin(), {'A', 0x1000, 0x1FFF, "", ""});
     },
     stage_verdict::passed, ""},
    {"OtherExtent", [](auto& device) { device.disk.known_volumes[1].last_lba = 0x2000; }, stage_verdict::failed,
     std::string(at) +
         "No volume of the boot disk has this LBA range, BOM location \"c:\\bom/system.bom\" cannot be used.\n" +
         not_equal},
    {"TwoEntriesOfOneRange",
     [](auto& device) { device.add_to_disk({.type_guid = {1}, .first_lba = 0x1000, .last_lba = 0x1FFF}); },
     stage_verdict::failed,
     std::string(" - Disk GPT has more than one Partition with LBA range: 1000-1fff.\n") + shared},
    {"TwoEntriesOfNoSector",
     [](auto& device) {
         device.add_partition({.first_lba = 0, .last_lba = 8});
         device.add_partition({.first_lba = 9, .last_lba = 8});
         device.add_to_disk({.first_lba = 9, .last_lba = 8});
     },
     stage_verdict::failed, std::string(" - Disk GPT has more than one Partition with LBA range: 9-8.\n") + shared},
    {"EntryAcrossListedPartitions",
     [](auto& device) { device.add_partition({.first_lba = 0x1FFF, .last_lba = 0x2000}); }, stage_verdict::failed,
     std::string(" - Disk GPT Partition with LBA range: 1fff-2000 overlaps Partition with LBA range: 1000-1fff.\n"
                 " - Disk GPT Partition with LBA range: 2000-2fff overlaps Partition with LBA range: 1fff-2000.\n") +
         shared},
    {"EntryAroundListedPartitions", [](auto& device) { device.add_partition({.first_lba = 0, .last_lba = 0x1000}); },
     stage_verdict::failed,
     std::string(" - Disk GPT Partition with LBA range: 800-fff overlaps Partition with LBA range: 0-1000.\n"
                 " - Disk GPT Partition with LBA range: 1000-1fff overlaps Partition with LBA range: 0-1000.\n") +
         shared},
    {"NoVolumes", [](auto& device) { device.disk.volumes_error = 7; }, stage_verdict::failed,
     "Could not read volumes of the boot disk. Error: system text 7\n"},
};

std::string without_root(std::string text, const std::string& root) {
    for (std::size_t found = 0; (found = text.find(root)) != std::string::npos;) {
        text.replace(found, root.size(), "DIR");
    }
    return text;
}

TEST(DiskMeasurements, MatchOrSayWhatDiffers) {
    const bool links = test::links_can_be_made();
    const bool case_counts = !std::filesystem::exists(measured_device().files.path() / "C/BOM");
    for (const row& row : rows) {
        const std::string_view name = row.name;
        if ((!links && name.find("Link") != name.npos) || (!case_counts && name.starts_with("Case"))) {
            continue;
        }
        test::log_session session;
        measured_device device;
        row.change(device);
        const stage_outcome outcome = check_disk_measurements(device.disk, device.pmf, false, device.found);
        EXPECT_EQ(outcome.verdict, row.expected) << row.name;
        EXPECT_EQ(without_root(session.pushed(), device.files.file("C")), row.pushed) << row.name;
    }
}

TEST(DiskMeasurements, LeaveOutWhatIsMountedInTheVolume) {
    test::log_session session;
    measured_device device;
    device.disk.known_volumes[1].root = "/";
    device.set_location("C:\\proc\\version");
    if (std::filesystem::path::preferred_separator != '/') {
        GTEST_SKIP() << "this system has no file system in all others";
    }
    EXPECT_EQ(check_disk_measurements(device.disk, device.pmf, false, device.found).verdict, stage_verdict::failed);
    EXPECT_TRUE(session.pushed().starts_with("    Another volume holds file \"//proc/version\".\n"));
}

TEST(DiskMeasurements, CheckEveryPartition) {
    test::log_session session;
    measured_device device;
    device.pmf.entries[0].measurement_type = 3;
    device.pmf.entries[2].measurement_type = 7;
    EXPECT_EQ(check_disk_measurements(device.disk, device.pmf, true, device.found).verdict, stage_verdict::failed);
    const std::string pushed = session.pushed();
    EXPECT_NE(pushed.find("Partition[0] with LBA range: 800-fff: BOM location is invalid: it is empty.\n"),
              std::string::npos);
    EXPECT_NE(pushed.find("Partition[2] with LBA range: 2000-2fff: Measurement Type UNDEFINED is not supported.\n"),
              std::string::npos);
}

TEST(BomLocation, StaysWithinItsVolume) {
    const std::string longest = "Z:/" + std::string(72, 'n');
    struct {
        std::string location;
        const char* path;   // null: refused
        const char* wrong;  // part of the reason
    } const locations[] = {
        {"C:\\bom\\system.bom", "bom/system.bom", ""},
        {"c:/a b/.x", "a b/.x", ""},
        {"C:\\.\\x", "./x", ""},
        {longest, longest.c_str() + 3, ""},
        {longest + "n", nullptr, "terminated"},
        {"", nullptr, "empty"},
        {"C", nullptr, "begin"},
        {"C:", nullptr, "begin"},
        {"C:x", nullptr, "begin"},
        {"\\\\server\\x", nullptr, "begin"},
        {"@:\\x", nullptr, "begin"},
        {"C:\\", nullptr, "empty path component"},
        {"C:\\\\x", nullptr, "empty path component"},
        {"C:\\x\\", nullptr, "empty path component"},
        {"C:\\x/../../y", nullptr, "leaves"},
        {"C:\\.. \\x", nullptr, "ends in a dot or a blank"},
        {"C:\\...\\x", nullptr, "ends in a dot or a blank"},
        {"C:\\D:\\x", nullptr, "':'"},
        {"C:\\x:stream", nullptr, "':'"},
        {"C:\\x\n", nullptr, "printable"},
        {"C:\\\x7F", nullptr, "printable"},
        {"C:\\\xE4", nullptr, "printable"},
    };
    for (const auto& row : locations) {
        std::array<std::uint8_t, 76> field{};
        ASSERT_LE(row.location.size(), field.size());
        std::copy(row.location.begin(), row.location.end(), field.begin());
        bom_location location;
        const char* wrong = parse_bom_location(field, location);
        ASSERT_EQ(wrong == nullptr, row.path != nullptr) << row.location;
        if (wrong == nullptr) {
            EXPECT_EQ(location.path, row.path);
            EXPECT_EQ(location.letter, row.location[0]);
        } else {
            EXPECT_NE(std::string_view(wrong).find(row.wrong), std::string_view::npos)
                << row.location << ": " << wrong;
        }
    }
}

}  // namespace
}  // namespace vellum
