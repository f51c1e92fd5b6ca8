#include "config/kxl_config.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "config/config_values.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

const std::string seal = "[Expected Seal Configuration]\n";
const std::string opt_out = "[Expected CustomOptOut]\n";

constexpr const char* full_file =
    "\xEF\xBB\xBF; every key\r\n"
    "[Expected Seal Configuration]\r\n"
    "ChassisIntrusionEnabled= 1 ; on\r\n"
    "BIOSLockEnabled=0\r\nSealSigningEnabled:1\r\nCustomOptOutEnabled = "
    "1\r\nSEDLockEnabled=1\r\nPMFSigningEnabled=1\r\n"
    "[Expected Device Identification]\r\nDeviceIdSource=OEM_DEFINED_BLOB\r\n"
    "[Expected Norvane KVR Feature configuration]\r\nIronwallEnabled=1\r\n"
    "[Seal Signature Validation]\r\n"
    "ExpectedSealSigningAlgorithm=SHA256-NULL-ENCRYPTION\r\nTL3SealIdentityVerificationFile=C:\\tl3;a.csv\r\n"
    "[Expected SealSigning_Software]\r\nSealSigningKeyPath=key.pem\r\n"
    "[Expected CustomOptOut]\r\nOptOutHotKey=CTRL+ALT+F1, a\r\nOptOutIntervalSeconds=2147483647\r\n"
    "  # a comment\r\n\r\n"
    "[PMF Signature Validation]\r\nTrustedCaDir=ca\r\nIntermediateCaDir=\r\nPMFExternalCertificatePath=x.crt\r\n"
    "[Disk Measurements]\r\nBOMLocationVolumeLetterMismatchAllowed=1\r\n"
    "[Logging]\r\nFileLogPath=run.log\r\nFileLogLevel=4";

TEST(Config, TakesEveryKeyFromItsSection) {
    test::log_session session;
    const test::temp_dir dir;
    const std::string path = dir.write("kxl.ini", full_file);
    KxlConfig config;
    ASSERT_EQ(load_config(path, config), result::success) << session.pushed();
    const seal_flag_record& flags = config.seal.flags;
    const std::uint8_t bytes[] = {flags.chassis_intrusion, flags.bios_lock, flags.seal_signing, flags.custom_opt_out,
                                  flags.sed_lock,          flags.ironwall,  flags.pmf_signing};
    EXPECT_EQ(upper_hex(bytes), "01000101010101");
    EXPECT_EQ(config.device_id_source, DeviceIdSource::OEM_DEFINED_BLOB);
    EXPECT_EQ(config.expected_seal_signing_algorithm, signature_scheme::sha256_null_encryption);
    EXPECT_EQ(config.tl3_seal_identity_verification_file, "C:\\tl3;a.csv");
    EXPECT_EQ(config.seal_signing_key_path, "key.pem");
    EXPECT_EQ(config.seal.hotkey_length, 18U);
    EXPECT_EQ(upper_hex(std::span(config.seal.hotkey).first<20>()), "0B00000028000080C00000610000000080C00000");
    EXPECT_EQ(config.seal.opt_out_interval, 2147483647U);
    EXPECT_EQ(config.trusted_ca_dir + "|" + config.intermediate_ca_dir + "|" + config.pmf_external_certificate_path,
              "ca||x.crt");
    EXPECT_TRUE(config.bom_location_volume_letter_mismatch_allowed);
    std::optional<std::string> log_path;
    std::optional<log_level> level;
    ASSERT_EQ(load_logging_config(path, log_path, level), result::success) << session.pushed();
    EXPECT_EQ(log_path, "run.log");
    EXPECT_EQ(level, log_level::trace);
}

struct refused_file {
    const char* name;
    std::string text;
    int line;
    std::string reason;  // before the message that names the line
};

const refused_file refused_files[] = {
    {"DuplicatedLoggingKey", "[Logging]\nFileLogLevel=9\nFileLogLevel=9\n", 3,
     "Found duplicated parameter \"FileLogLevel\" in section \"Logging\".\n"},
    {"NothingHandledAfterBadSyntax", "[Logging]\nbroken\nUnknown=1\n", 2, ""},
    {"HandledBeforeBadSyntax", "[Logging]\nUnknown=1\nbroken\n", 2,
     "Parameter \"Unknown\" in section \"Logging\" is not expected.\n"},
    {"OverlongLine", "[Logging]\n;" + std::string(199, 'x') + "\nbroken\n", 2, ""},
    {"OverlongLastLine", "[Logging]\n;" + std::string(4096, 'x'), 2, ""},
    {"ZeroByte", seal + std::string("BIOSLockEnabled=1\0x", 19), 2, ""},
};

TEST(Config, RefusesAFileAtItsFirstBadLine) {
    test::log_session session;
    const test::temp_dir dir;
    for (const refused_file& row : refused_files) {
        const std::string path = dir.write("kxl.ini", row.text);
        KxlConfig config;
        EXPECT_EQ(load_config(path, config), result::invalid) << row.name;
        EXPECT_EQ(session.pushed(), row.reason + "Failed parsing configuration file: " + path + " at line " +
                                        std::to_string(row.line) + ".\n")
            << row.name;
    }
}

TEST(Config, TakesTheLongestLineAndGivesAbsentKeysTheirDefaults) {
    test::log_session session;
    const test::temp_dir dir;
    const std::string key = "[PMF Signature Validation]\nTrustedCaDir=";
    const std::string longest(199 - std::string("TrustedCaDir=").size(), 'x');
    KxlConfig config;
    EXPECT_EQ(load_config(dir.write("kxl.ini", key + longest + "\nIntermediateCaDir=b\r\n"), config),
              result::success);
    EXPECT_EQ(config.trusted_ca_dir, longest);
    EXPECT_EQ(config.intermediate_ca_dir, "b");
    EXPECT_EQ(load_config(dir.write("kxl.ini", opt_out + "OptOutHotKey=\n"), config), result::success);
    EXPECT_EQ(config.trusted_ca_dir, "");
    EXPECT_EQ(config.device_id_source, DeviceIdSource::UUID);
    EXPECT_EQ(config.expected_seal_signing_algorithm, signature_scheme::sha256_rsa_2048_pkcs1);
    EXPECT_EQ(config.seal.hotkey_length, 0U);
}

TEST(Config, RefusesAHugeFile) {
    test::log_session session;
    const test::temp_dir dir;
    KxlConfig config;
    EXPECT_EQ(load_config(dir.write("huge.ini", std::string(1 << 20, '\n')), config), result::invalid);
    EXPECT_NE(session.pushed().find("too large"), std::string::npos);
}

TEST(Config, EarlyPassLooksAtLoggingAlone) {
    const struct {
        const char* text;
        std::optional<std::string> path;
        std::optional<log_level> level;
    } rows[] = {
        {"[Extra]\nColour=red\n  blue\n[Logging]\nFileLogLevel=0\nSize=1\n", std::nullopt, log_level::off},
        {"[Expected Seal Configuration]\nBIOSLockEnabled=maybe\n", std::nullopt, std::nullopt},
        {"[Logging]\nFileLogPath=\nFileLogLevel=1\n", "", log_level::brief},
    };
    test::log_session session;
    const test::temp_dir dir;
    for (const auto& row : rows) {
        std::optional<std::string> path;
        std::optional<log_level> level;
        EXPECT_EQ(load_logging_config(dir.write("kxl.ini", std::string_view(row.text)), path, level), result::success)
            << row.text;
        EXPECT_EQ(path, row.path) << row.text;
        EXPECT_EQ(level, row.level) << row.text;
    }
}

TEST(Config, ValuesHaveTheirLongestText) {
    test::log_session session;
    std::string text;
    EXPECT_TRUE(parse_path("K", std::string(255, 'x'), text));
    EXPECT_FALSE(parse_path("K", std::string(256, 'x'), text));
    EXPECT_EQ(session.pushed(), "Invalid parameter K. Path should be 1-256 characters long.\n");
    seal_configuration seal_config;
    EXPECT_FALSE(parse_hotkey("K", "a" + std::string(512, ' '), seal_config));
    EXPECT_EQ(session.pushed(), "Invalid parameter K length. It should be 0-512 characters long.\n");
    EXPECT_TRUE(parse_hotkey("K", "a" + std::string(511, ' '), seal_config));
    EXPECT_EQ(seal_config.hotkey_length, 9U);
}

}  // namespace
}  // namespace vellum
