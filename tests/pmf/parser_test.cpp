#include "pmf/parser.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "lab/pmf_builder.h"
#include "pmf/dates.h"
#include "pmf/layout.h"
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

    const auto header = [](const PMF::ManifestHeader& it) {
        return std::tuple(it.type, it.header_size, it.version, it.flags, it.unexamined1, it.expire_date, it.id,
                          it.internal_data, it.unexamined2, it.security_version, it.reserved1, it.reserved2,
                          it.modulus_size, it.exponent_size, it.modulus, it.exponent, it.signature);
    };
    EXPECT_EQ(header(parsed->header), header(file.header));
    EXPECT_EQ(parsed->header.size * 4, build(file).size() - pmf_marker_size);
    EXPECT_TRUE(parsed->header.pseudo_signed());

    PMF::SystemInfoExtension info;
    const auto system_info = [](const PMF::SystemInfoExtension& it) {
        return std::tuple(it.type, it.product_name, it.sku_number, it.build_number, it.os_build, it.expire_date,
                          it.seal_configuration, it.reserved, it.bios_version, it.orbis_version);
    };
    ASSERT_EQ(get_pmf_extension(*parsed, info), result::success);
    EXPECT_EQ(system_info(info), system_info(file.system_info));
    EXPECT_EQ(info.length, PMF::system_info_size);

    PMF::DiskMetadataFileExtension disk;
    const auto partition = [](const PMF::PartitionEntry& it) {
        return std::tuple(it.guid, it.name, it.base, it.limit, it.reserved, it.measurement_type, it.measurement,
                          it.hash);
    };
    ASSERT_EQ(get_pmf_extension(*parsed, disk), result::success);
    EXPECT_EQ(std::tuple(disk.reserved, disk.algorithm, disk.count, disk.entry_size),
              std::tuple(file.disk.reserved, 2U, 2, 272));
    ASSERT_EQ(disk.entries.size(), 2U);
    EXPECT_EQ(partition(disk.entries[1]), partition(file.disk.entries[1]));

    PMF::PCRMetadataFileExtension pcrs;
    ASSERT_EQ(get_pmf_extension(*parsed, pcrs), result::success);
    EXPECT_EQ(std::tuple(pcrs.reserved, pcrs.algorithm, pcrs.count, pcrs.entry_size),
              std::tuple(file.pcrs.reserved, 2U, 4, 70));
    ASSERT_EQ(pcrs.entries.size(), 4U);
    EXPECT_EQ(std::tuple(pcrs.entries[1].reserved, pcrs.entries[1].index, pcrs.entries[1].value),
              std::tuple(file.pcrs.entries[1].reserved, 2, file.pcrs.entries[1].value));

    PMF::KeyManifestExtension keys;
    const auto key = [](const PMF::KeyEntry& it) {
        return std::tuple(it.id, it.policy, it.second_policy, it.reserved, it.hash);
    };
    ASSERT_EQ(get_pmf_extension(*parsed, keys), result::success);
    EXPECT_EQ(std::tuple(keys.manifest_type, keys.reserved, keys.algorithm, keys.count, keys.entry_size),
              std::tuple(3U, file.keys.reserved, 2U, 2, 74));
    ASSERT_EQ(keys.entries.size(), 2U);
    EXPECT_EQ(key(keys.entries[1]), key(file.keys.entries[1]));

    pmf_pcr_set set;
    ASSERT_EQ(read_pmf_pcrs(*parsed, set), result::success);
    EXPECT_EQ(set.mask, 0x8DU);
    EXPECT_TRUE(equal_bytes(set.values[7], byte_view(file.pcrs.entries[3].value).first(32)));
    EXPECT_EQ(session.pushed() + session.logged(), "");
}

TEST(ParsePmf, ListsExtensionsAndRuleSetsAtDebug) {
    test::log_session session(log_level::debug);
    document parsed;
    ASSERT_EQ(parse_pmf(build(lab::pmf()), parsed), result::success);
    EXPECT_EQ(session.logged(),
              "Validation PMF::ManifestHeader finished with rval 0x00.\n"
              "List of PMF extensions: \n"
              "1: PMF::CertificateExtension(48)\n"
              "2: PMF::BodyHeaderExtension(49)\n"
              "3: PMF::SystemInfoExtension(256)\n"
              "4: PMF::DiskMetadataFileExtension(257)\n"
              "5: PMF::PCRMetadataFileExtension(258)\n"
              "6: PMF::KeyManifestExtension(259)\n"
              "Validation PMF::ManifestHeader finished with rval 0x00.\n"
              "Validation PMF::PCRMetadataFileExtension finished with rval 0x00.\n"
              "Validation PMF::DiskMetadataFileExtension finished with rval 0x00.\n"
              "PMF::SystemInfoExtension Validation of system info section START \n"
              "     Product Name:Sample Product \n"
              "     SKU Number:SKU-1 \n"
              "     Build Number:7 \n"
              "     OS Build Number:10.0.19045 \n"
              "     BIOS Version:BIOS.1.2.3 \n"
              "     Orbis FW Version:16.1.25.1865 \n"
              "Validation PMF::SystemInfoExtension finished with rval 0x00.\n"
              "Validation PMF::KeyManifestExtension finished with rval 0x00.\n"
              "Finished validation of required KVR extensions. Rval(0x00), Errors(0)\n");
}

struct parse_row {
    const char* name;
    void (*change)(lab::pmf&);
    std::string pushed;  // without the line that ends every failure
    result expected = pushed.empty() ? result::success : result::check_failed;
};

void keep_only(lab::pmf& file, std::initializer_list<PmfExtensionType> types) {
    file.order = types;
}

lab::pmf_plain_extension plain(std::uint32_t type, std::size_t size) {
    return {type, std::vector<std::uint8_t>(size), {}};
}

const parse_row parse_rows[] = {
    {"Marker", [](lab::pmf& f) { f.marker = "PGMf"; }, "Invalid Partition Marker of PMF.\n"},
    {"HeaderWithoutExtensions", [](lab::pmf& f) { f.order.clear(); },
     "PMF file length is too short. Actual (644 bytes), minimum (644 bytes).\n"},
    {"HeaderType", [](lab::pmf& f) { f.header.type = 5; },
     "PMF::ManifestHeader has invalid type. Actual (0x05), expected (0x04).\n"},
    {"HeaderVersion", [](lab::pmf& f) { f.header.version = 0x20000; },
     "PMF::ManifestHeader has invalid version. Actual (0x20000), expected (0x10000).\n"},
    {"HeaderSizeThatWraps", [](lab::pmf& f) { f.header.header_size = 0x400000A1; },
     "PMF::ManifestHeader Header Size has invalid length. Actual (1073741985), expected (161).\n"},
    {"HeaderId", [](lab::pmf& f) { f.header.id = 1; },
     "PMF::ManifestHeader has invalid header id. Actual (0x01), expected(0x324e4d24).\n"},
    {"HeaderDate", [](lab::pmf& f) { f.header.expire_date = 0x20250230; },
     "PMF::ManifestHeader.ExpireDate(2025-02-30) has invalid format. Expected format is YYYY-MM-DD.\n"},
    {"SizeLimit", [](lab::pmf& f) { f.claimed_size = 2001; },
     "PMF::ManifestHeader size exceeded maximum allowed length. Actual (0x7d1), Maximum allowed(0x7d0).\n"},
    {"LargestSize", [](lab::pmf& f) { f.others = {plain(0x40, 8000 - 644 - 8 - 8 - 218 - 576 - 300 - 184 - 10)}; },
     ""},
    {"SizeMismatch", [](lab::pmf& f) { f.claimed_size = 484; },
     "PMF::ManifestHeader size does not match PMF size. Actual (1936 bytes), Expected (1940 bytes).\n"},
    {"InternalData", [](lab::pmf& f) { f.header.internal_data = 0; },
     "PMF::ManifestHeader has invalid internal data. Actual (0x00), expected(0x464d4750).\n"},
    {"SecurityVersion", [](lab::pmf& f) { f.header.security_version = 0x1F; },
     "PMF::ManifestHeader has invalid security version number. Actual (0x1f), expected(0x00).\n"},
    {"ExponentSize", [](lab::pmf& f) { f.header.exponent_size = 2; },
     "PMF::ManifestHeader exponent size (2) is not supported by this release. Supported exponent size: (0).\n"},
    {"ModulusSize", [](lab::pmf& f) { f.header.modulus_size = 65; },
     "PMF::ManifestHeader modulus size (65) is not supported by this release. Supported modulus size: (64).\n"},
    {"FirstHeaderRuleWins", [](lab::pmf& f) { f.header.version = f.header.id = 0; },
     "PMF::ManifestHeader has invalid version. Actual (0x00), expected (0x10000).\n"},

    {"RepeatedExtension", [](lab::pmf& f) { f.order.push_back(PmfExtensionType::key_manifest); },
     "Invalid number of appearance of extension type PMF::KeyManifestExtension(0x103) in PMF.\n"},
    {"RepeatedUnknownExtension",
     [](lab::pmf& f) { f.others.push_back(plain(0x40, 0)), f.others.push_back(plain(0x40, 4)); },
     "Invalid number of appearance of extension type Unknown Extension(0x40) in PMF.\n"},
    {"TypeZeroMayRepeat", [](lab::pmf& f) { f.others.assign(2, plain(0, 0)), f.others.push_back(plain(0, 4)); }, ""},
    {"TenExtensions", [](lab::pmf& f) { f.others.assign(4, plain(0, 0)); }, ""},
    {"ElevenExtensions", [](lab::pmf& f) { f.others.assign(5, plain(0, 0)); }, "", result::check_failed},
    {"BodyHeaderLengthIsIgnored", [](lab::pmf& f) { f.body_header.claimed_length = 1000; }, ""},
    {"LengthBeyondFile", [](lab::pmf& f) { f.keys.claimed_length = 187; },
     "PMF extension of type PMF::KeyManifestExtension(0x103) length 187 exceeds PMF file size.\n"},
    {"HugeLength", [](lab::pmf& f) { f.keys.claimed_length = UINT32_MAX; },
     "PMF extension of type PMF::KeyManifestExtension(0x103) length -1 exceeds PMF file size.\n"},
    {"HeadBeyondFile", [](lab::pmf& f) { f.trailing = {9, 0, 0, 0, 8, 0}; },
     "PMF extension of type Unknown Extension(0x09) length 8 exceeds PMF file size.\n"},
    {"LengthBelowHead", [](lab::pmf& f) { f.others.assign(1, plain(0x40, 0)), f.others[0].claimed_length = 7; }, "",
     result::check_failed},
    {"LengthZeroOfTypeZero", [](lab::pmf& f) { f.others.assign(1, plain(0, 0)), f.others[0].claimed_length = 0; }, "",
     result::check_failed},

    {"MissingDisk",
     [](lab::pmf& f) {
         keep_only(f, {PmfExtensionType::pcr_metadata, PmfExtensionType::key_manifest});
         f.pcrs.algorithm = 3;
     },
     "PMF::PCRMetadataFileExtension has unsupported hash algorithm. Actual SHA384(0x03), expected SHA256(0x02).\n"
     "PMF Extension of type PMF::DiskMetadataFileExtension(0x0101) was not found in PMF.\n",
     result::invalid},
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

    {"PcrHead",
     [](lab::pmf& f) {
         f.pcrs.claimed_length = 12;
         f.pcrs.entries.clear();
         f.patches = {{4 + 644 + 8 + 8 + 218 + 576 + 12, {0x40, 0, 0, 0, 8, 0, 0, 0}}};
     },
     "PMF::PCRMetadataFileExtension length is shorter than minimal allowed extension size (12).\n"},
    {"PcrEntrySize", [](lab::pmf& f) { f.pcrs.entry_size = 71; },
     "PMF::PCRMetadataFileExtension Entry Size has invalid value. Actual (71), expected (70).\n"},
    {"PcrCount", [](lab::pmf& f) { f.pcrs.claimed_count = 0xFFFF; },
     "PMF::PCRMetadataFileExtension has invalid length. Actual (300), expected (4587470).\n"},
    {"PcrAlgorithmDoesNotStopTheEntries",
     [](lab::pmf& f) { f.pcrs.algorithm = 3, f.pcrs.entries[1].index = 30, f.pcrs.entries[2].index = 24; },
     "PMF::PCRMetadataFileExtension has unsupported hash algorithm. Actual SHA384(0x03), expected SHA256(0x02).\n"
     "PMF::PCRMetadataFileExtension PCR Entry[1] has id [30]. PCR id must be in range <0, 23>.\n"
     "PMF::PCRMetadataFileExtension PCR Entry[2] has id [24]. PCR id must be in range <0, 23>.\n"},
    {"NoPcrs", [](lab::pmf& f) { f.pcrs.entries.clear(); }, ""},

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

    {"DiskHead",
     [](lab::pmf& f) {
         keep_only(f, {PmfExtensionType::pcr_metadata, PmfExtensionType::disk_metadata, PmfExtensionType::system_info,
                       PmfExtensionType::key_manifest});
         f.disk.entries.clear();
         f.disk.claimed_length = 24;
         f.patches = {{4 + 644 + 300 + 24, {0x40, 0, 0, 0, 8, 0, 0, 0}}};
     },
     "PMF::DiskMetadataFileExtension length (24) is shorter than minimal allowed extension size (32).\n"},
    {"DiskEntrySize", [](lab::pmf& f) { f.disk.entry_size = 273; },
     "PMF::DiskMetadataFileExtension Entry Size has invalid value. Actual (273), expected (272).\n"},
    {"DiskCount", [](lab::pmf& f) { f.disk.claimed_count = 3; },
     "PMF::DiskMetadataFileExtension has invalid length. Actual (576), expected (848).\n"},
    {"BomComputed", [](lab::pmf& f) { f.disk.entries[1].measurement_type = 2; },
     "PMF::DiskMetadataFileExtension Partition[1] Measurement Type BOM_COMPUTED(0x02) is not supported by this "
     "release. Supported Measurement Types supported: NO_MEASUREMENT(0x00), BOM_PROVIDED(0x03)\n"},
    {"MeasurementWithoutAlgorithm", [](lab::pmf& f) { f.disk.algorithm = 0, f.disk.entries[0].measurement_type = 1; },
     "PMF::DiskMetadataFileExtension Partition[0] Measurement Type UNDEFINED(0x01) is not supported by this release. "
     "Supported Measurement Types supported: NO_MEASUREMENT(0x00), BOM_PROVIDED(0x03)\n"
     "PMF::DiskMetadataFileExtension Hash Algorithm is set to NONE(0x00). For Hash Algorithm NONE(0x00) "
     "PMF::DiskMetadataFileExtension Partition[0] Measurement Type shall be NO_MEASUREMENT(0x00), but actual value "
     "is UNDEFINED(0x01).\n"
     "PMF::DiskMetadataFileExtension Hash Algorithm is set to NONE(0x00). For Hash Algorithm NONE(0x00) "
     "PMF::DiskMetadataFileExtension Partition[1] Measurement Type shall be NO_MEASUREMENT(0x00), but actual value "
     "is BOM_PROVIDED(0x03).\n"},

    {"SystemInfoLength",
     [](lab::pmf& f) {
         keep_only(f, {PmfExtensionType::pcr_metadata, PmfExtensionType::disk_metadata,
                       PmfExtensionType::key_manifest, PmfExtensionType::system_info});
         f.system_info.claimed_length = 210;
         f.patches = {{4 + 644 + 300 + 576 + 184 + 210, {0x40, 0, 0, 0, 8, 0, 0, 0}}};
     },
     "PMF::SystemInfoExtension has invalid length. Actual (210), expected (218).\n"},
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

TEST(ParsePmf, CountsTrailingBytes) {
    test::log_session session;
    for (std::uint8_t count = 0; count < 4; ++count) {
        lab::pmf file;
        file.others = {plain(0x40, (10U - count) % 4)};
        document parsed;
        ASSERT_EQ(parse_pmf(build(file), parsed), result::success) << session.pushed();
        EXPECT_EQ(parsed->trailing_bytes, count);
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

TEST(LoadPmf, Files) {
    test::log_session session;
    const test::temp_dir dir;
    const test::bytes good = build(lab::pmf());
    test::bytes large(65536, 0x20);
    std::copy_n(good.begin(), 4, large.begin());
    dir.write("good", good), dir.write("empty", ""), dir.write("small", "PGM"), dir.write("marker", "PGME");
    dir.write("large", large), dir.write("largest", byte_view(large).first(65535)), dir.write("dir/file", "");
    const struct {
        const char* name;
        result expected;
        std::size_t size;
        std::string pushed;
    } rows[] = {
        {"good", result::success, good.size(), ""},
        {"largest", result::success, 65535, ""},
        {"large", result::invalid, 0, "Platform Measurement File is too big.\n"},
        {"empty", result::invalid, 0, "Platform Measurement File is empty.\n"},
        {"small", result::invalid, 0,
         "PMF too small.\nGiven file does not start with Platform Measurement File header.\n"},
        {"marker", result::invalid, 0,
         "Invalid Partition Marker of PMF.\nGiven file does not start with Platform Measurement File header.\n"},
        {"missing", result::invalid, 0,
         " Error: system text 5\nCannot open Platform Measurement File: " + dir.file("missing") + ".\n"},
        {"dir", result::invalid, 0,
         " Error: It is not a regular file.\nCannot open Platform Measurement File: " + dir.file("dir") + ".\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        test::bytes content = {1};
        EXPECT_EQ(load_pmf_file(dir.file(row.name), content), row.expected);
        EXPECT_EQ(content.size(), row.size);
        EXPECT_EQ(session.pushed(), row.pushed);
    }
}

TEST(LoadPmf, DumpsTheContentAtTrace) {
    test::log_session session(log_level::trace);
    const test::temp_dir dir;
    test::bytes content;
    ASSERT_EQ(load_pmf_file(dir.write("file", "PGMF:"), content), result::success);
    std::string dump;
    hex_dump(content, 32, 0, [&dump](std::string_view line) { dump += line; });
    EXPECT_EQ(session.logged(), "PMF content (5 bytes): \n\n" + dump + "\n\n\n");
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
        EXPECT_EQ(pmf_expiry_instant(row.bcd).value_or(0), row.expiry);
    }
    session.clock.offset = 3600;
    log_start(session.console, session.clock, session.errors);
    EXPECT_EQ(pmf_expiry_instant(0x20241231), 1735685999);
}

}  // namespace
}  // namespace vellum
