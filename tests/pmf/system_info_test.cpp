#include "pmf/system_info.h"

#include <gtest/gtest.h>

#include "lab/smbios_builder.h"
#include "pmf/smbios.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

class fake_tables final : public firmware_tables {
  public:
    test::bytes data;

    os_status read(test::bytes& out) override {
        out = data;
        return data.empty() ? os_status(2) : os_status::success;
    }
};

class fake_version final : public os_version {
  public:
    std::string build = "19045";

    os_status read_major(std::uint32_t& out) override { return out = 10, os_status::success; }
    os_status read_minor(std::uint32_t& out) override { return out = 0, os_status::success; }
    os_status read_build(std::string& out) override { return out = build, os_status::success; }
};

std::string summary(const platform_smbios_info& info) {
    std::string text = info.bios_version + "|" + info.product_name + "|" + info.sku_number + "|" +
                       info.serial_number + "|" + (info.orbis_flag ? "flag" : "");
    for (const std::uint16_t part : info.orbis_version) {
        text += "." + std::to_string(part);
    }
    return text;
}

const std::string good = "VLM 1.0.42|Sealed Laptop 14|SKU-14-B|SN-0042|flag.16.1.25.2101";

constexpr const char* no_bios = "ERROR: Could not find first occurence of SMBIOS table of type 0.\n";
constexpr const char* no_bios_version = "ERROR: Could not fetch BIOS Version from SMBIOS table.\n";
constexpr const char* no_system = "ERROR: Could not find first occurence of SMBIOS table of type 1.\n";
constexpr const char* no_sku = "ERROR: Could not fetch SKU Number from SMBIOS table.\n";
constexpr const char* no_orbis = "ERROR: Cound not find SMBIOS table of type 131 with 'Zeph' structure identifier.\n";

struct smbios_row {
    const char* name;
    void (*change)(lab::smbios_data& data);
    std::string expected;  // the record, or what is logged
};

const smbios_row smbios_rows[] = {
    {"Plain", [](auto&) {}, good},
    {"NoFlag", [](auto& data) { data = lab::smbios_of({.orbis_flag = 0}); },
     "VLM 1.0.42|Sealed Laptop 14|SKU-14-B|SN-0042|.16.1.25.2101"},
    {"LongestTexts",
     [](auto& data) {
         data =
             lab::smbios_of({std::string(40, 'b'), std::string(64, 'p'), std::string(32, 's'), std::string(64, 'k')});
     },
     std::string(40, 'b') + "|" + std::string(64, 'p') + "|" + std::string(64, 'k') + "|" + std::string(32, 's') +
         "|flag.16.1.25.2101"},
    {"FirstOfItsTypeCounts",
     [](auto& data) { data.structures.push_back(lab::bios_structure({.bios_version = "another"})); }, good},
    {"SecondOrbisStructure",
     [](auto& data) {
         data.structures.insert(data.structures.begin(),
                                lab::orbis_structure({.orbis_version = {9, 9, 9, 9}, .orbis_identifier = "Zepp"}));
     },
     good},
    {"TableLongerThanDelivered", [](auto& data) { data.table_length = UINT32_MAX; }, good},
    {"LastOneUnterminated", [](auto& data) { data.structures.pop_back(), data.structures[2].terminated = false; },
     good},
    {"NoBios", [](auto& data) { data.structures.erase(data.structures.begin()); }, no_bios},
    {"EmptyTable", [](auto& data) { data.table_length = 0; }, no_bios},
    {"LengthWithoutProgress", [](auto& data) { data.structures[0].length = 3; }, no_bios},
    {"AreaBeyondTheTable", [](auto& data) { data.structures.resize(1), data.structures[0].length = 255; }, no_bios},
    {"NoBiosVersion", [](auto& data) { data = lab::smbios_of({.bios_version = ""}); }, no_bios_version},
    {"StringBeyondTheSet", [](auto& data) { data.structures[0].fields[1] = 4; }, no_bios_version},
    {"StringCutByTheTable", [](auto& data) { data.table_length = 24 + 16 + 10; }, no_bios_version},
    {"LongBiosVersion", [](auto& data) { data = lab::smbios_of({.bios_version = std::string(41, 'b')}); },
     "ERROR: SMBIOS property (BIOS Version) is longer than 40 characters.\n"},
    {"NoSystem", [](auto& data) { data.structures[1].type = 2; }, no_system},
    {"NothingAfterUnterminated", [](auto& data) { data.structures.resize(1), data.structures[0].terminated = false; },
     no_system},
    {"NoProductName", [](auto& data) { data = lab::smbios_of({.product_name = ""}); },
     "ERROR: Could not fetch Product Name from SMBIOS table.\n"},
    {"SystemTooShortForItsSku", [](auto& data) { data.structures[1].fields.resize(21); }, no_sku},
    {"NoSerialNumber", [](auto& data) { data = lab::smbios_of({.serial_number = ""}); },
     "ERROR: Could not fetch Serial Number from SMBIOS table.\n"},
    {"LongProductName", [](auto& data) { data = lab::smbios_of({.product_name = std::string(65, 'p')}); },
     "ERROR: SMBIOS property (Product Name) is longer than 64 characters.\n"},
    {"LongSkuNumber", [](auto& data) { data = lab::smbios_of({.sku_number = std::string(65, 'k')}); },
     "ERROR: SMBIOS property (SKU Number) is longer than 64 characters.\n"},
    {"OrbisTooShort", [](auto& data) { data.structures[2].fields.pop_back(); }, no_orbis},
};

TEST(Smbios, GivesTheRecordOrTheFirstFailure) {
    for (const smbios_row& row : smbios_rows) {
        test::log_session session;
        lab::smbios_data data = lab::smbios_of({});
        row.change(data);
        platform_smbios_info info;
        fake_tables tables;
        tables.data = build(data);
        EXPECT_EQ(ok(read_smbios_info(tables, info)), row.expected.find("ERROR") != 0) << row.name;
        const std::string logged = session.logged();
        EXPECT_EQ(logged.empty() ? summary(info) : logged, row.expected) << row.name;
    }
}

TEST(Smbios, SurvivesEveryPrefixAndEveryByteChange) {
    test::log_session session(log_level::off);
    const test::bytes data = build(lab::smbios_of({}));
    const auto expect_sane = [](const test::bytes& damaged) {
        platform_smbios_info info;
        if (ok(fill_smbios_info(damaged, info))) {
            EXPECT_LE(info.bios_version.size(), 40U);
            EXPECT_FALSE(info.sku_number.empty());
        }
    };
    test::for_each_prefix(data, expect_sane);
    test::for_each_byte_change(data, expect_sane);
}

TEST(Smbios, ManyOrbisStructuresStayLinear) {
    test::log_session session(log_level::off);
    lab::smbios_data data = lab::smbios_of({});
    data.structures.insert(data.structures.begin(), 170'000, {.type = 131});
    platform_smbios_info info;
    fake_tables tables;
    tables.data = build(data);
    EXPECT_EQ(read_smbios_info(tables, info), result::success);
}

TEST(Smbios, IsBounded) {
    test::log_session session;
    platform_smbios_info info;
    fake_tables tables;
    EXPECT_FALSE(ok(read_smbios_info(tables, info)));
    tables.data = build(lab::smbios_of({}));
    tables.data.resize(0x100001);
    EXPECT_FALSE(ok(read_smbios_info(tables, info)));
    EXPECT_EQ(session.logged(), "ERROR: SMBIOS data are too large (1048577 bytes). The limit is 1048576 bytes.\n");
}

TEST(Registry, HasABuildOfSixteenBits) {
    const std::pair<std::string, std::string> rows[] = {
        {"65535", ""},
        {"65536", "ERROR: Size of the CurrentBuildNumber is too long.\n"},
        {std::string(8191, '9'), "ERROR: Size of the CurrentBuildNumber is too long.\n"},
        {"-1", "ERROR: CurrentBuildNumber is not a number.\n"},
    };
    for (const auto& [build, reason] : rows) {
        test::log_session session(log_level::error);
        fake_version version;
        version.build = build;
        platform_registry_info registry;
        EXPECT_EQ(ok(read_registry_info(version, registry)), reason.empty()) << build;
        EXPECT_EQ(session.logged(),
                  reason + (reason.empty() ? "" : "ERROR: Loading data from online Windows 10 failed.\n"));
    }
}

struct compare_row {
    const char* name;
    void (*change)(PMF::SystemInfoExtension& pmf, platform_registry_info& registry);
    const char* pushed;
};

const compare_row compare_rows[] = {
    {"BytesBehindTheTextDoNotCount", [](auto& pmf, auto&) { pmf.sku_number[63] = 'x'; }, ""},
    {"FieldWithoutItsZero", [](auto& pmf, auto&) { pmf.bios_version.fill('b'), pmf.product_name.fill('p'); },
     " - BIOS Version (bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb) in PMF does not match BIOS Version (VLM 1.0.42) in "
     "SMBIOS tables.\n"
     " - Product Name (pppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppp) in PMF does not match "
     "Product Name (Sealed Laptop 14) in SMBIOS tables.\n"},
    {"SkuIsAPrefix", [](auto& pmf, auto&) { pmf.sku_number[7] = 0; },
     " - SKU Number (SKU-14-) in PMF does not match SKU Number (SKU-14-B) in SMBIOS tables.\n"},
    {"TerminalSequence", [](auto& pmf, auto&) { pmf.sku_number[1] = 0x1B, pmf.sku_number[2] = 0; },
     " - SKU Number (S?) in PMF does not match SKU Number (SKU-14-B) in SMBIOS tables.\n"},
    {"MajorOfMoreThanSixteenBits", [](auto&, auto& registry) { registry.os_major = 0x1000A; },
     " - OS Build Number (10.0.19045) in PMF does not match OS Build Number (65546.0.19045) in registry.\n"},
};

TEST(SystemInfo, ReportsEveryMismatch) {
    for (const compare_row& row : compare_rows) {
        test::log_session session;
        platform_smbios_info smbios;
        ASSERT_EQ(fill_smbios_info(build(lab::smbios_of({})), smbios), result::success);
        platform_registry_info registry{10, 0, 19045};
        PMF::SystemInfoExtension pmf;
        std::copy(smbios.bios_version.begin(), smbios.bios_version.end(), pmf.bios_version.begin());
        std::copy(smbios.product_name.begin(), smbios.product_name.end(), pmf.product_name.begin());
        std::copy(smbios.sku_number.begin(), smbios.sku_number.end(), pmf.sku_number.begin());
        pmf.orbis_version = {16, 1, 25, 2101};
        pmf.os_build = {10, 0, 19045};
        row.change(pmf, registry);
        const bool passed = check_system_info(pmf, smbios, registry).verdict == stage_verdict::passed;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
        EXPECT_EQ(passed, std::string_view(row.pushed).empty()) << row.name;
    }
}

}  // namespace
}  // namespace vellum
