#include "config/device_id.h"

#include <gtest/gtest.h>

#include "tests/support/log_session.h"

namespace vellum {
namespace {

constexpr auto SERIAL = DeviceIdSource::SERIAL_NUMBER;
constexpr auto LITERAL = DeviceIdSource::OEM_DEFINED_LITERAL;
constexpr auto BLOB = DeviceIdSource::OEM_DEFINED_BLOB;

const platform_identity identity = {
    {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}, "SN 12/3"};

device_id id_of(std::string_view bytes) {
    device_id id;
    std::copy(bytes.begin(), bytes.end(), id.data.begin());
    id.size = bytes.size();
    return id;
}

const std::string no_literal =
    "Could not set external Device ID. Specified [OEM_DEFINED_LITERAL] Device ID source type but provided value is "
    "empty. Use --external_device_id flag to provide value.\n";
const std::string uuid_bytes(identity.uuid.begin(), identity.uuid.end());

TEST(DeviceId, TakesExternalValuesOfOemSources) {
    const struct {
        DeviceIdSource source;
        std::string value;
        std::string printed;  // empty: refused
        std::string reason;
    } rows[] = {
        {LITERAL, "ABC_1.2-x", "ABC_1.2-x", ""},
        {LITERAL, std::string(63, 'z'), std::string(63, 'z'), ""},
        {LITERAL, std::string(64, 'z'), "",
         "Could not set external Device ID [OEM_DEFINED_LITERAL]. Provided value is too big.\n"},
        {LITERAL, "ABC 1", "",
         "Device ID - invalid character: [ ] in provided string: [ABC 1]. Only allowed characters are: alphanumeric "
         "[0-9a-zA-Z], dots [.], dashes [-] and underscores [_].\n"},
        {LITERAL, "0xAB", "",
         "Could not set external Device ID [OEM_DEFINED_LITERAL]. Literal cannot start with 0x.\n"},
        {LITERAL, "", "", no_literal},
        {BLOB, "0x0a0B", "0x0A0B", ""},
        {BLOB, "0x" + std::string(128, 'F'), "0x" + std::string(128, 'F'), ""},
        {BLOB, "0x" + std::string(130, 'F'), "", "Could not convert hex string: provided value is too long.\n"},
        {BLOB, "0xABC", "", "Could not convert hex string: provided value is odd length.\n"},
        {BLOB, "0x", "", "Could not convert hex string: provided value is too short.\n"},
        {BLOB, "0x0G", "", "Hex string must contain values in range 0-9A-F.\n"},
        {BLOB, "AB", "",
         "Could not set external Device ID [OEM_DEFINED_BLOB]. Value must start with 0x. Provided value: [AB].\n"},
        {SERIAL, "1", "", "Could not set external Device ID. Invalid source type specified: [SERIAL_NUMBER], [1].\n"},
    };
    test::log_session session;
    for (const auto& row : rows) {
        device_id id;
        const result set = set_external_device_id(row.source, row.value, id);
        std::string printed;
        EXPECT_EQ(set, row.printed.empty() ? result::invalid : result::success) << row.value;
        if (ok(set)) {
            EXPECT_EQ(device_id_to_printable(row.source, id, printed), result::success) << row.value;
        }
        EXPECT_EQ(printed, row.printed);
        const std::string logged = session.logged();
        std::string reason = row.reason;
        if (reason.starts_with("Could not convert") || reason.starts_with("Hex string")) {
            reason += "Could not set external Device ID [OEM_DEFINED_BLOB]. Provided value: [" + row.value + "].\n";
        }
        EXPECT_EQ(session.pushed(), reason) << row.value;
        EXPECT_EQ(logged, row.value == "AB" || row.source == SERIAL ? "ERROR: " + row.reason : "") << row.value;
    }
}

// What the check says of the two.
std::string both(const std::string& source, const std::string& sealed, const std::string& actual) {
    return "Device ID source in Seal Log [" + source + "]\nDevice ID in Seal Log [" + sealed +
           "]\nActual Device ID [" + actual + "]\n";
}

TEST(DeviceId, MatchesTheSealAgainstThisMachine) {
    const std::string uuid = "00112233-4455-6677-8899-AABBCCDDEEFF";
    const std::string blob = "\x0A\x0B";
    struct expectation {
        verdict outcome;
        std::string pushed;
    };
    const struct {
        std::uint32_t type;
        std::string sealed;
        std::string external;  // empty: not given
        expectation expected;
    } rows[] = {
        {0, uuid_bytes, "", {verdict::passed, both("UUID", uuid, uuid)}},
        {0,
         "1234",
         "",
         {verdict::failed,
          "Could not get printable Device ID [UUID]. Internal buffer may be too small.\n"
          "Device ID size comparison failed. Expected: 4, actual: 16\n"}},
        {1, "SN 12/4", "", {verdict::failed, both("SERIAL_NUMBER", "SN 12/4", "SN 12/3")}},
        {1,
         "SN 12/34",
         "",
         {verdict::failed, both("SERIAL_NUMBER", "SN 12/34", "SN 12/3") +
                               "Device ID size comparison failed. Expected: 8, actual: 7\n"}},
        {2, "A", "", {verdict::failed, no_literal}},
        {3, blob, blob, {verdict::passed, both("OEM_DEFINED_BLOB", "0x0A0B", "0x0A0B")}},
        {7, "A", "A", {verdict::failed, "Could not validate Device ID: unknown type\n"}},
    };
    test::log_session session;
    for (const auto& row : rows) {
        const auto external = row.external.empty() ? std::nullopt : std::optional(id_of(row.external));
        const stage_outcome outcome = match_device_id(row.type, id_of(row.sealed), identity, external);
        EXPECT_EQ(outcome.verdict, row.expected.outcome) << row.expected.pushed;
        EXPECT_EQ(session.pushed(), row.expected.pushed);
    }
}

TEST(DeviceId, SizesBeyondTheBufferAreNotCompared) {
    test::log_session session;
    const std::string reason =
        "Device ID size comparison failed. Provided size to big to compare with seal log device id size.\n";
    device_id sealed = id_of("A");
    const platform_identity talkative = {{}, std::string(65, 'A')};
    EXPECT_EQ(match_device_id(1, sealed, talkative, {}).verdict, verdict::failed);
    EXPECT_EQ(session.pushed(), reason);
    sealed.size = 65;
    EXPECT_EQ(match_device_id(1, sealed, identity, {}).verdict, verdict::failed);
    EXPECT_EQ(session.pushed(), reason);
}

}  // namespace
}  // namespace vellum
