#include "pmf/system_info.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "lab/smbios_builder.h"
#include "pmf/smbios.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

class fake_tables final : public firmware_tables {
  public:
    test::bytes data;
    std::uint32_t claimed = 0;  // more than the data hold, in the first answer

    std::uint32_t fetch_smbios(std::span<std::uint8_t> buffer) override {
        const auto size = static_cast<std::uint32_t>(data.size());
        if (buffer.empty()) {
            return size + claimed;
        }
        std::copy_n(data.begin(), std::min(data.size(), buffer.size()), buffer.begin());
        return size;
    }
};

class fake_version final : public os_version {
  public:
    std::string failing;
    std::uint32_t major = 10;
    std::string build = "19045";

    std::uint32_t read_number(const char* name, std::uint32_t& out) override {
        out = std::string_view(name) == "CurrentMajorVersionNumber" ? major : 0;
        return failing == name ? 2 : 0;
    }
    std::uint32_t read_text(const char* name, std::size_t capacity, std::string& out) override {
        EXPECT_STREQ(name, "CurrentBuildNumber");
        EXPECT_EQ(capacity, 8192U);
        out = build;
        return failing == name ? 2 : 0;
    }
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
    {"ShortOrbisStructure",
     [](auto& data) {
         data.structures.insert(data.structures.begin(), data.structures[2]);
         data.structures[0].fields.pop_back();
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
    {"NoSkuNumber", [](auto& data) { data = lab::smbios_of({.sku_number = ""}); }, no_sku},
    {"SystemTooShortForItsSku", [](auto& data) { data.structures[1].fields.resize(21); }, no_sku},
    {"NoSerialNumber", [](auto& data) { data = lab::smbios_of({.serial_number = ""}); },
     "ERROR: Could not fetch Serial Number from SMBIOS table.\n"},
    {"LongProductName",
     [](auto& data) {
         data = lab::smbios_of({.product_name = std::string(65, 'p'), .sku_number = std::string(65, 'k')});
     },
     "ERROR: SMBIOS property (Product Name) is longer than 64 characters.\n"},
    {"LongSkuNumber", [](auto& data) { data = lab::smbios_of({.sku_number = std::string(65, 'k')}); },
     "ERROR: SMBIOS property (SKU Number) is longer than 64 characters.\n"},
    {"LongSerialNumber", [](auto& data) { data = lab::smbios_of({.serial_number = std::string(33, 's')}); },
     "ERROR: SMBIOS property (Serial Number) is longer than 32 characters.\n"},
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

struct retrieve_row {
    const char* name;
    void (*change)(fake_tables& tables, fake_version& version);
    std::string logged;
    const char* pushed;
};

const std::string loading = "Loading platform information from online Windows 10 registry\n";
const std::string loaded = loading + "Successfully loaded platform information from online Windows 10 registry\n";
constexpr const char* load_failed = "ERROR: Loading data from online Windows 10 failed.\n";
constexpr const char* no_smbios = "Retieving SMBIOS data failed.\n";
constexpr const char* no_registry = "Failed to obtain data from Windows Registry.\n";

const retrieve_row retrieve_rows[] = {
    {"Both", [](auto&, auto&) {}, loaded, ""},
    {"NoSmbios", [](auto& tables, auto&) { tables.data.clear(); }, loaded, no_smbios},
    {"SizeChangedBetween", [](auto& tables, auto&) { tables.claimed = 1; }, loaded, no_smbios},
    {"HugeSmbios",
     [](auto& tables, auto&) { tables.claimed = 0x100001 - static_cast<std::uint32_t>(tables.data.size()); },
     loaded + "ERROR: SMBIOS data are too large (1048577 bytes). The limit is 1048576 bytes.\n", no_smbios},
    {"NoMinor", [](auto&, auto& version) { version.failing = "CurrentMinorVersionNumber"; },
     loading +
         "ERROR: Reading CurrentMinorVersionNumber from registry key SOFTWARE\\Microsoft\\Windows "
         "NT\\CurrentVersion\\ failed. Error: 2\n" +
         load_failed,
     no_registry},
    {"LargeBuild", [](auto&, auto& version) { version.build = "65536"; },
     loading + "ERROR: Size of the CurrentBuildNumber is too long.\n" + load_failed, no_registry},
    {"HugeBuild", [](auto&, auto& version) { version.build.assign(8191, '9'); },
     loading + "ERROR: Size of the CurrentBuildNumber is too long.\n" + load_failed, no_registry},
    {"BuildIsNoNumber", [](auto&, auto& version) { version.build = "-1"; },
     loading + "ERROR: CurrentBuildNumber is not a number.\n" + load_failed, no_registry},
};

TEST(PlatformInfo, ComesFromBothSourcesOrSaysWhichFailed) {
    for (const retrieve_row& row : retrieve_rows) {
        test::log_session session;
        fake_tables tables;
        tables.data = build(lab::smbios_of({}));
        fake_version version;
        row.change(tables, version);
        platform_smbios_info smbios;
        platform_registry_info registry;
        const bool passed = retrieve_platform_info(tables, version, smbios, registry).verdict == verdict::passed;
        EXPECT_EQ(session.logged(), row.logged) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
        EXPECT_EQ(passed, std::string_view(row.pushed).empty()) << row.name;
        EXPECT_TRUE(!passed || (registry.os_major == 10 && registry.os_minor == 0 && registry.os_build == 19045));
        EXPECT_TRUE(!passed || smbios.uuid == lab::smbios_platform().uuid);
    }
}

struct compare_row {
    const char* name;
    void (*change)(PMF::SystemInfoExtension& pmf, platform_registry_info& registry);
    const char* pushed;
};

const compare_row compare_rows[] = {
    {"Match", [](auto&, auto&) {}, ""},
    {"BuildNumberDoesNotCount", [](auto& pmf, auto&) { pmf.build_number = 7; }, ""},
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
    {"FirmwareAndSystem", [](auto& pmf, auto& registry) { pmf.orbis_version[3] = 65535, registry.os_build = 0; },
     " - Orbis FW Version (16.1.25.65535) in PMF does not match Orbis FW Version (16.1.25.2101) in SMBIOS tables.\n"
     " - OS Build Number (10.0.19045) in PMF does not match OS Build Number (10.0.0) in registry.\n"},
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
        const bool passed = check_system_info(pmf, smbios, registry).verdict == verdict::passed;
        EXPECT_EQ(session.logged(),
                  "Comparing System Info Extension and SMBIOS values\n"
                  "Comparing System Info Extension and Registry values\n");
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
        EXPECT_EQ(passed, std::string_view(row.pushed).empty()) << row.name;
    }
}

}  // namespace
}  // namespace vellum
