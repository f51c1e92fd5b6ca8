#include "pmf/parser.h"

#include <gtest/gtest.h>

#include "lab/pmf_builder.h"
#include "pmf/dates.h"
#include "pmf/pcr_set.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using document = std::optional<PmfDocument>;

constexpr const char* bad_structure = "Platform Measurement File structure is invalid.\n";

TEST(ParsePmf, DecodesEveryField) {
    test::log_session session;
    lab::pmf file;
    file.header.flags = 0x80000001;
    file.header.reserved1.fill(1), file.header.reserved2.fill(2);
    file.header.modulus.fill(3), file.header.exponent.fill(4), file.header.signature.fill(5);
    file.header.unexamined1.fill(15), file.header.unexamined2.fill(16);
    file.disk.reserved.fill(6), file.keys.reserved.fill(7), file.pcrs.reserved.fill(8);
    file.system_info.reserved.fill(9);
    file.disk.entries[1].reserved.fill(10), file.keys.entries[1].reserved.fill(11);
    file.pcrs.entries[1].reserved.fill(12);
    file.keys.entries[1].policy = 13, file.keys.entries[1].second_policy = 14;
    document parsed;
    ASSERT_EQ(parse_pmf(build(file), parsed), result::success) << session.pushed();
    EXPECT_TRUE(parsed->header.pseudo_signed());

    lab::pmf decoded;
    decoded.header = parsed->header;
    decoded.system_info = {}, decoded.disk = {}, decoded.pcrs = {}, decoded.keys = {};
    ASSERT_EQ(get_pmf_extension(*parsed, decoded.system_info), result::success);
    ASSERT_EQ(get_pmf_extension(*parsed, decoded.disk), result::success);
    ASSERT_EQ(get_pmf_extension(*parsed, decoded.pcrs), result::success);
    ASSERT_EQ(get_pmf_extension(*parsed, decoded.keys), result::success);
    EXPECT_EQ(build(decoded), build(file));

    pmf_pcr_set set;
    ASSERT_EQ(read_pmf_pcrs(*parsed, set), result::success);
    EXPECT_EQ(set.mask, 0x8DU);
    EXPECT_TRUE(equal_bytes(set.values[7], byte_view(file.pcrs.entries[3].value).first(32)));
    EXPECT_EQ(session.pushed() + session.logged(), "");
}

struct parse_row {
    const char* name;
    void (*change)(lab::pmf&);
    std::string pushed;  // without the line that ends every failure
    result expected = pushed.empty() ? result::success : result::check_failed;
};

// The last eight bytes of the extension become another one.
template <typename Extension>
void end_early(lab::pmf& file, Extension& extension, std::uint32_t claimed) {
    const auto type = static_cast<PmfExtensionType>(extension.type);
    std::erase(file.order, type), file.order.push_back(type);
    extension.claimed_length = claimed;
    file.trailing.emplace();
    file.patches = {{build(file).size() - 8, {0x40, 0, 0, 0, 8, 0, 0, 0}}};
    file.trailing.reset();
}

lab::pmf_plain_extension plain(std::uint32_t type, std::size_t size) {
    return {type, std::vector<std::uint8_t>(size), {}};
}

const parse_row parse_rows[] = {
    {"HeaderType", [](lab::pmf& f) { f.header.type = 5; },
     "PMF::ManifestHeader has invalid type. Actual (0x05), expected (0x04).\n"},
    {"HeaderSizeThatWraps", [](lab::pmf& f) { f.header.header_size = 0x400000A1; },
     "PMF::ManifestHeader Header Size has invalid length. Actual (1073741985), expected (161).\n"},
    {"HeaderId", [](lab::pmf& f) { f.header.id = 1; },
     "PMF::ManifestHeader has invalid header id. Actual (0x01), expected(0x324e4d24).\n"},
    {"SizeLimit", [](lab::pmf& f) { f.claimed_size = 2001; },
     "PMF::ManifestHeader size exceeded maximum allowed length. Actual (0x7d1), Maximum allowed(0x7d0).\n"},
    {"LargestSize", [](lab::pmf& f) { f.others = {plain(0x40, 8000 - 644 - 8 - 8 - 218 - 576 - 300 - 184 - 11)}; },
     ""},
    {"InternalData", [](lab::pmf& f) { f.header.internal_data = 0; },
     "PMF::ManifestHeader has invalid internal data. Actual (0x00), expected(0x464d4750).\n"},
    {"SecurityVersion", [](lab::pmf& f) { f.header.security_version = 0x1F; },
     "PMF::ManifestHeader has invalid security version number. Actual (0x1f), expected(0x00).\n"},
    {"ModulusSize", [](lab::pmf& f) { f.header.modulus_size = 65; },
     "PMF::ManifestHeader modulus size (65) is not supported by this release. Supported modulus size: (64).\n"},
    {"FirstHeaderRuleWins", [](lab::pmf& f) { f.header.version = f.header.id = 0; },
     "PMF::ManifestHeader has invalid version. Actual (0x00), expected (0x10000).\n"},

    {"RepeatedUnknownExtension",
     [](lab::pmf& f) { f.others.push_back(plain(0x40, 0)), f.others.push_back(plain(0x40, 4)); },
     "Invalid number of appearance of extension type Unknown Extension(0x40) in PMF.\n"},
    {"TenExtensions", [](lab::pmf& f) { f.others.assign(4, plain(0, 0)); }, ""},
    {"ElevenExtensions", [](lab::pmf& f) { f.others.assign(5, plain(0, 0)); }, "", result::check_failed},
    {"LengthBeyondFile", [](lab::pmf& f) { f.keys.claimed_length = 187; },
     "PMF extension of type PMF::KeyManifestExtension(0x103) length 187 exceeds PMF file size.\n"},
    {"HugeLength", [](lab::pmf& f) { f.keys.claimed_length = UINT32_MAX; },
     "PMF extension of type PMF::KeyManifestExtension(0x103) length -1 exceeds PMF file size.\n"},
    {"HeadBeyondFile", [](lab::pmf& f) { f.trailing = {9, 0, 0, 0, 8, 0}; },
     "PMF extension of type Unknown Extension(0x09) length 8 exceeds PMF file size.\n"},
    {"LengthBelowHead", [](lab::pmf& f) { f.others.assign(1, plain(0x40, 0)), f.others[0].claimed_length = 7; }, "",
     result::check_failed},

    {"EverySetRuns",
     [](lab::pmf& f) {
         f.pcrs.algorithm = f.disk.algorithm = f.keys.algorithm = 1;
         f.system_info.expire_date = 0x20251A01;
     },
     "PMF::PCRMetadataFileExtension has unsupported hash algorithm. Actual UNDEFINED(0x01), expected SHA256(0x02).\n"
     "PMF::DiskMetadataFileExtension hash algorithm UNDEFINED(0x01) is not supported in this release. Supported "
     "algorithm is SHA256(0x02).\n"
     "PMF::SystemInfoExtension.ExpireDate(2025-20-01) has invalid format. Expected format is YYYY-MM-DD.\n"
     "PMF::KeyManifestExtension has unsupported hash algorithm. Actual UNDEFINED(0x01), expected SHA256(0x02).\n"},

    {"PcrHead", [](lab::pmf& f) { f.pcrs.entries.clear(), end_early(f, f.pcrs, 12); },
     "PMF::PCRMetadataFileExtension length is shorter than minimal allowed extension size (12).\n"},
    {"DiskHead", [](lab::pmf& f) { f.disk.entries.clear(), end_early(f, f.disk, 24); },
     "PMF::DiskMetadataFileExtension length (24) is shorter than minimal allowed extension size (32).\n"},
    {"SystemInfoLength", [](lab::pmf& f) { end_early(f, f.system_info, 210); },
     "PMF::SystemInfoExtension has invalid length. Actual (210), expected (218).\n"},
    {"PcrEntrySize", [](lab::pmf& f) { f.pcrs.entry_size = 71; },
     "PMF::PCRMetadataFileExtension Entry Size has invalid value. Actual (71), expected (70).\n"},
    {"PcrCount", [](lab::pmf& f) { f.pcrs.claimed_count = 0xFFFF; },
     "PMF::PCRMetadataFileExtension has invalid length. Actual (300), expected (4587470).\n"},
    {"PcrIndex", [](lab::pmf& f) { f.pcrs.entries[2].index = 24; },
     "PMF::PCRMetadataFileExtension PCR Entry[2] has id [24]. PCR id must be in range <0, 23>.\n"},

    {"KeyEntrySize", [](lab::pmf& f) { f.keys.entry_size = 0; },
     "PMF::KeyManifestExtension Entry Size has invalid value. Actual (0), expected (74).\n"},
    {"KeyCount", [](lab::pmf& f) { f.keys.claimed_count = 1; },
     "PMF::KeyManifestExtension has invalid length. Actual (184), expected (110).\n"},
    {"KeyManifestType", [](lab::pmf& f) { f.keys.manifest_type = 2; },
     "PMF::KeyManifestExtension has invalid manifest type. Actual (2), expected (3).\n"},
    {"KeyAlgorithmStopsTheEntries", [](lab::pmf& f) { f.keys.algorithm = 3, f.keys.entries[0].id = 0xFFFF; },
     "PMF::KeyManifestExtension has unsupported hash algorithm. Actual SHA384(0x03), expected SHA256(0x02).\n"},
    {"KeyId", [](lab::pmf& f) { f.keys.entries[1].id = 0xFFFF; },
     "PMF::KeyManifestExtension Key[1] id has forbidden value (0xffff).\n"},

    {"DiskEntrySize", [](lab::pmf& f) { f.disk.entry_size = 273; },
     "PMF::DiskMetadataFileExtension Entry Size has invalid value. Actual (273), expected (272).\n"},
    {"DiskCount", [](lab::pmf& f) { f.disk.claimed_count = 3; },
     "PMF::DiskMetadataFileExtension has invalid length. Actual (576), expected (848).\n"},
    {"MeasurementWithoutAlgorithm", [](lab::pmf& f) { f.disk.algorithm = 0, f.disk.entries[0].measurement_type = 1; },
     "PMF::DiskMetadataFileExtension Partition[0] Measurement Type UNDEFINED(0x01) is not supported by this release. "
     "Supported Measurement Types supported: NO_MEASUREMENT(0x00), BOM_PROVIDED(0x03)\n"
     "PMF::DiskMetadataFileExtension Hash Algorithm is set to NONE(0x00). For Hash Algorithm NONE(0x00) "
     "PMF::DiskMetadataFileExtension Partition[0] Measurement Type shall be NO_MEASUREMENT(0x00), but actual value "
     "is UNDEFINED(0x01).\n"
     "PMF::DiskMetadataFileExtension Hash Algorithm is set to NONE(0x00). For Hash Algorithm NONE(0x00) "
     "PMF::DiskMetadataFileExtension Partition[1] Measurement Type shall be NO_MEASUREMENT(0x00), but actual value "
     "is BOM_PROVIDED(0x03).\n"},

};

TEST(ParsePmf, Rules) {
    for (const parse_row& row : parse_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        lab::pmf file;
        row.change(file);
        document parsed;
        EXPECT_EQ(parse_pmf(build(file), parsed), row.expected);
        EXPECT_EQ(parsed.has_value(), ok(row.expected));
        EXPECT_EQ(session.pushed(), row.pushed + (ok(row.expected) ? "" : bad_structure));
        EXPECT_EQ(session.logged(), "");
    }
}

TEST(ParsePmf, TakesTheSizeModulo65536) {
    test::log_session session;
    test::bytes bytes = build(lab::pmf());
    bytes.resize(bytes.size() + 65536);
    document parsed;
    EXPECT_EQ(parse_pmf(bytes, parsed), result::success);
    bytes.resize(65536);
    EXPECT_EQ(parse_pmf(bytes, parsed), result::check_failed);
    EXPECT_EQ(session.pushed(), std::string("PMF too small.\n") + bad_structure);
}

TEST(ParsePmf, RefusesEveryPrefixWithItsText) {
    test::log_session session;
    const test::bytes good = build(lab::pmf());
    const std::string whole = std::to_string(good.size() - pmf_marker_size);
    test::for_each_prefix(good, [&](const test::bytes& prefix) {
        document parsed;
        EXPECT_EQ(parse_pmf(prefix, parsed), result::check_failed);
        const std::string rest = std::to_string(prefix.size() - pmf_marker_size);
        const std::string reason =
            prefix.size() < pmf_marker_size ? "PMF too small.\n"
            : prefix.size() <= pmf_marker_size + pmf_header_size
                ? "PMF file length is too short. Actual (" + rest + " bytes), minimum (644 bytes).\n"
                : "PMF::ManifestHeader size does not match PMF size. Actual (" + whole + " bytes), Expected (" +
                      rest + " bytes).\n";
        EXPECT_EQ(session.pushed(), reason + bad_structure);
    });
}

TEST(LoadPmf, TakesUpTo64KibOfAFileAndNothingOfADirectory) {
    test::log_session session;
    const test::temp_dir dir;
    test::bytes content(65535, 0x20);
    std::copy_n(build(lab::pmf()).begin(), 4, content.begin());
    const std::string path = dir.write("largest", content);
    EXPECT_EQ(load_pmf_file(path, content), result::success);
    EXPECT_EQ(content.size(), 65535U);
    EXPECT_EQ(load_pmf_file(dir.path().string(), content), result::invalid);
    EXPECT_TRUE(content.empty());
    EXPECT_EQ(session.pushed(), "Cannot open Platform Measurement File: " + dir.path().string() +
                                    ". Error: It is not a regular file.\n");
}

TEST(PmfDates, ValidityAndExpiry) {
    const struct {
        std::uint32_t bcd;
        std::int64_t expiry;  // in UTC; 0: not valid
    } rows[] = {
        {0x20241231, 1735689599}, {0x20240229, 1709251199}, {0x19000101, -2208902401}, {0x20250230, 0},
        {0x20230229, 0},          {0x18991231, 0},          {0x20250001, 0},           {0x20250100, 0},
        {0x20251301, 0},          {0x2025010A, 0},          {0x2025011F, 0},           {0x1A250101, 0},
    };
    test::log_session session;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bcd);
        EXPECT_EQ(valid_pmf_date(row.bcd), row.expiry != 0);
        EXPECT_EQ(pmf_expiry_instant(row.bcd, session.clock).value_or(0), row.expiry);
    }
    session.clock.offset = 3600;  // not what the zone had when the program started
    EXPECT_EQ(pmf_expiry_instant(0x20241231, session.clock), 1735689599 - 3600);
}

}  // namespace
}  // namespace vellum
