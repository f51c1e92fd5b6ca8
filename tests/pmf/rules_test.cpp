#include "pmf/rules.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "lab/pmf_builder.h"
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

struct strict_row {
    const char* name;
    void (*change)(lab::pmf&);
    std::string pushed;
};

std::string zeros(std::size_t bytes) {
    return std::string(2 * bytes, '0');
}

// What is pushed for a hash field whose digest of 32 bytes is followed by `tail` and zeros.
std::string digest_lines(const pmf_hash_field& field) {
    return "  Actual:   " + upper_hex(field) + "\n  Expected: " + std::string(64, '.') + std::string(64, '0') + "\n";
}

pmf_hash_field with_byte_32(pmf_hash_field field) {
    field[32] = 1;
    return field;
}

void set(std::span<std::uint8_t> field, std::size_t at) {
    field[at] = 0xAB;
}

const lab::pmf good;

const strict_row strict_rows[] = {
    {"Good", [](lab::pmf&) {}, ""},
    {"FlagsZeroAndThirtyOne", [](lab::pmf& f) { f.header.flags = 0x80000001; }, ""},
    {"HeaderReservedFirst", [](lab::pmf& f) { set(f.header.reserved1, 7), set(f.header.reserved2, 0); },
     "PMF::ManifestHeader reserved[1] bytes shall contain only 0x00 data. Actual buffer: 0x" + zeros(7) + "AB.\n"},
    {"HeaderReservedSecond", [](lab::pmf& f) { set(f.header.reserved2, 63); },
     "PMF::ManifestHeader reserved[2] bytes shall contain only 0x00 data. Actual buffer: 0x" + zeros(63) + "AB.\n"},

    {"Pcrs",
     [](lab::pmf& f) {
         set(f.pcrs.reserved, 0), set(f.pcrs.entries[1].reserved, 3);
         f.pcrs.entries[1].value = with_byte_32(f.pcrs.entries[1].value);
     },
     "PMF::PCRMetadataFileExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0xAB000000.\n" +
         digest_lines(with_byte_32(good.pcrs.entries[1].value)) +
         "PMF::PCRMetadataFileExtension PCR[1] hash is expected to contain exactly 32 bytes of data, but at least "
         "one non-zero value was found in the trailing bytes.\n"
         "PMF::PCRMetadataFileExtension PCR[1] reserved bytes shall contain only 0x00 data. Actual buffer: "
         "0x000000AB.\n"},

    {"Keys",
     [](lab::pmf& f) {
         set(f.keys.reserved, 15), set(f.keys.entries[1].reserved, 0);
         f.keys.entries[1].hash = with_byte_32(f.keys.entries[1].hash);
         f.keys.entries[1].policy = 5, f.keys.entries[1].second_policy = 6;
     },
     "PMF::KeyManifestExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0x" + zeros(15) +
         "AB.\n"
         "PMF::KeyManifestExtension Key[1] reserved bytes shall contain only 0x00 data. Actual buffer: "
         "0xAB000000.\n" +
         digest_lines(with_byte_32(good.keys.entries[1].hash)) +
         "PMF::KeyManifestExtension Key[1] hash is expected to contain exactly 32 bytes of data, but at least one "
         "non-zero value was found in the trailing bytes.\n"
         "PMF::KeyManifestExtension Key[1] Policy is reserved field and shall be (5), but actual is (0).\n"
         "PMF::KeyManifestExtension Key[1] Policy is reserved field and shall be (6), but actual is (0).\n"},

    {"UnmeasuredPartition",
     [](lab::pmf& f) {
         set(f.disk.reserved, 0);
         PMF::PartitionEntry& entry = f.disk.entries[0];
         entry.base = 0x1000000000000001, entry.limit = 0x1000000000000000;
         set(entry.reserved, 23), set(entry.hash, 0), set(entry.measurement, 75), set(entry.name, 71);
     },
     "PMF::DiskMetadataFileExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0xAB" + zeros(15) +
         ".\n"
         "PMF::DiskMetadataFileExtension Partition[0] base offset (0x1000000000000001) is smaller than the limit "
         "offset (0x1000000000000000).\n"
         "PMF::DiskMetadataFileExtension Partition[0] reserved bytes shall contain only 0x00 data. Actual buffer: "
         "0x" +
         zeros(23) + "AB.\n   Actual hash: 0xAB" + zeros(63) +
         ".\n"
         "PMF::DiskMetadataFileExtension Partition[0] hash shall contain only 0x00 when measurement type is "
         "NO_MEASUREMENT(0x00).\n   Actual measurement data: 0x" +
         zeros(75) +
         "AB.\n"
         "PMF::DiskMetadataFileExtension Partition[0] measurement specific data shall contain only 0x00 when "
         "measurement type is NO_MEASUREMENT(0x00).\n"
         "PMF::DiskMetadataFileExtension Partition[0] name is expected to contain 0x00 bytes after first string "
         "terminator but at least one non-zero value was found in the trailing bytes.\n"},
    {"MeasuredPartition",
     [](lab::pmf& f) {
         PMF::PartitionEntry& entry = f.disk.entries[1];
         entry.base = entry.limit;
         entry.hash = with_byte_32(entry.hash);
         lab::set_utf16_text(entry.name, std::string(36, 'n'));
     },
     digest_lines(with_byte_32(good.disk.entries[1].hash)) +
         "PMF::DiskMetadataFileExtension Partition[1] hash is expected to contain exactly 32 bytes of data, but at "
         "least one non-zero value was found in the trailing bytes.\n"
         "PMF::DiskMetadataFileExtension Partition[1] name is not properly terminated by wide null character "
         "(0x0000).\n"},
    {"NameOf35Units", [](lab::pmf& f) { lab::set_utf16_text(f.disk.entries[1].name, std::string(35, 'n')); }, ""},
    {"ZerosAcrossTwoUnitsAreNoTerminator",
     [](lab::pmf& f) {
         for (std::size_t i = 0; i < 72; i += 2) {
             f.disk.entries[0].name[i] = static_cast<std::uint8_t>(i % 4 / 2);
             f.disk.entries[0].name[i + 1] = static_cast<std::uint8_t>(1 - i % 4 / 2);
         }
     },
     "PMF::DiskMetadataFileExtension Partition[0] name is not properly terminated by wide null character "
     "(0x0000).\n"},

    {"AllowedSealConfiguration", [](lab::pmf& f) { f.system_info.seal_configuration = 0x795B; }, ""},
    {"SystemInfo",
     [](lab::pmf& f) {
         f.system_info.seal_configuration = 0x86A5;
         set(f.system_info.reserved, 0), set(f.system_info.product_name, 63), set(f.system_info.sku_number, 63);
         lab::set_text(f.system_info.bios_version, std::string(40, 'v'));
     },
     " - Reserved15 is 1\n - Reserved10 is 1\n - Reserved9 is 1\n - Reserved7 is 1\n - Reserved5 is 1\n"
     " - Reserved2 is 1\n"
     "PMF::SystemInfoExtension Seal Configuration reserved bits shall be all zeroed. Following bits have invalid "
     "value:\n"
     "PMF::SystemInfoExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0xAB" +
         zeros(19) +
         ".\n"
         "PMF::SystemInfoExtension Product Name is expected to contain 0x00 bytes after first string terminator but "
         "at least one non-zero value was found in the trailing bytes.\n"
         "PMF::SystemInfoExtension SKU Number is expected to contain 0x00 bytes after first string terminator but at "
         "least one non-zero value was found in the trailing bytes.\n"
         "PMF::SystemInfoExtension BIOS Version is expected to contain 0x00 bytes after first string terminator but "
         "at least one non-zero value was found in the trailing bytes.\n"},
    {"EverySetRuns",
     [](lab::pmf& f) {
         f.header.flags = 0x80000003, f.system_info.seal_configuration = 4, f.keys.entries[0].policy = 1;
     },
     "PMF::ManifestHeader at least one flag at position from 1 to 30 is set. Actual(0x80000003), following flags "
     "(x00000002) shall be disabled.\n"
     "PMF::KeyManifestExtension Key[0] Policy is reserved field and shall be (1), but actual is (0).\n"
     " - Reserved2 is 1\n"
     "PMF::SystemInfoExtension Seal Configuration reserved bits shall be all zeroed. Following bits have invalid "
     "value:\n"},
};

TEST(StrictRules, Texts) {
    for (const strict_row& row : strict_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        lab::pmf file;
        row.change(file);
        std::optional<PmfDocument> parsed;
        ASSERT_EQ(parse_pmf(build(file), parsed), result::success) << session.pushed();
        EXPECT_EQ(run_strict_rules(*parsed), row.pushed.empty() ? result::success : result::check_failed);
        EXPECT_EQ(session.pushed(), row.pushed);
    }
}

TEST(StrictRules, CountTheirErrorsAtDebug) {
    test::log_session session(log_level::off);
    PMF::PCRMetadataFileExtension pcrs = good.pcrs;
    pcrs.reserved.fill(1), pcrs.entries[0].reserved.fill(1);
    set_console_threshold(log_level::debug);
    EXPECT_EQ(check_strict_rules(pcrs), result::check_failed);
    EXPECT_EQ(session.logged(),
              "Strict validation PMF::PCRMetadataFileExtension finished with rval 0x05. 2 errors found.\n");
}

TEST(PmfPcrSet, Rules) {
    const std::string mandatory = "Following PCRs are mandatory for Norvane(R) KVR: 0, 2, 3.\n";
    const std::string present = "Occurence of mandatory PCRs validation: OK.\n";
    const std::string unique = "PCRs IDs uniqueness validation: OK.\n";
    const auto excess = [&mandatory](const std::string& list) {
        return mandatory + "Following PCRs are recommended for Norvane(R) KVR: .\n" +
               "PMF::PCRMetadataExtension contains excess PCR" + list + ".\n";
    };
    const struct {
        std::vector<std::uint16_t> pcrs;
        result expected;
        std::string pushed;
        std::string logged;
    } rows[] = {
        {{3, 7, 0, 2}, result::success, "", unique + present + excess(": 7")},
        {{1, 11},
         result::check_failed,
         mandatory + "Mandatory PCRs[0, 2, 3] are not present in PMF::PCRMetadataExtension.\n",
         unique + excess("s: 1, 11")},
        {{0, 2, 3, 23, 8},
         result::success,
         "Following PCRs are supported by Norvane(R) KVR: 0, 1, 2, 3, 4, 6, 7, 11.\n"
         "PMF::PCRMetadataExtension contains extraneous PCRs: 8, 23.\n",
         unique + present + excess("s: 8, 23")},
        {{0, 0, 2, 2, 2, 3},
         result::success,
         "PCRs[0, 2] are defined more than once in PMF::PCRMetadataExtension.\n",
         unique + present},
        {{24, 0, 99},
         result::check_failed,
         "PMF::KeyMetadataExtension contains PCR with invalid id [24]. PCR id must be in range <0, 23>.\n"
         "PMF::KeyMetadataExtension contains PCR with invalid id [99]. PCR id must be in range <0, 23>.\n",
         ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.pcrs));
        test::log_session session(log_level::debug);
        PMF::PCRMetadataFileExtension extension;
        for (const std::uint16_t index : row.pcrs) {
            extension.entries.push_back(lab::pcr_entry(index, {}));
        }
        EXPECT_EQ(check_pmf_pcr_set(extension), row.expected);
        EXPECT_EQ(session.pushed(), row.pushed);
        EXPECT_EQ(session.logged(), row.logged);
    }
}

}  // namespace
}  // namespace vellum
