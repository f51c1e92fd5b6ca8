#include "config/device_id.h"

#include <gtest/gtest.h>

#include "tests/support/log_session.h"

namespace vellum {
namespace {

const platform_identity identity = {
    {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}, "SN 12/3"};

device_id id_of(std::string_view bytes) {
    device_id id;
    std::copy(bytes.begin(), bytes.end(), id.data.begin());
    id.size = bytes.size();
    return id;
}

TEST(DeviceId, IsGivenForOemSourcesOnly) {
    test::log_session session;
    device_id id;
    EXPECT_EQ(set_external_device_id(DeviceIdSource::SERIAL_NUMBER, "1", id), result::invalid);
    EXPECT_EQ(session.pushed(),
              "Could not set external Device ID. Invalid source type specified: [SERIAL_NUMBER], [1].\n");
    EXPECT_EQ(set_external_device_id(DeviceIdSource::OEM_DEFINED_LITERAL, "", id), result::invalid);
    EXPECT_EQ(set_external_device_id(DeviceIdSource::OEM_DEFINED_BLOB, "0x" + std::string(128, 'F'), id),
              result::success);
    EXPECT_EQ(id.size, 64U);
}

TEST(DeviceId, MatchesTheSerialNumberOfThisMachine) {
    const std::string sealed_in = "Device ID source in Seal Log [SERIAL_NUMBER]\nDevice ID in Seal Log [";
    const std::string here = "]\nActual Device ID [SN 12/3]\n";
    const struct {
        std::string sealed;
        stage_verdict expected;
        std::string reason;
    } rows[] = {
        {"SN 12/3", stage_verdict::passed, ""},
        {"SN 12/4", stage_verdict::failed, ""},
        {"SN 12/34", stage_verdict::failed, "Device ID size comparison failed. Expected: 8, actual: 7\n"},
    };
    test::log_session session;
    for (const auto& row : rows) {
        EXPECT_EQ(match_device_id(1, id_of(row.sealed), identity, {}).verdict, row.expected) << row.sealed;
        EXPECT_EQ(session.pushed(), sealed_in + row.sealed + here + row.reason);
    }
}

TEST(DeviceId, SizesBeyondTheBufferAreNotCompared) {
    test::log_session session;
    const std::string reason =
        "Device ID size comparison failed. Provided size to big to compare with seal log device id size.\n";
    device_id sealed = id_of("A");
    const platform_identity talkative = {{}, std::string(65, 'A')};
    EXPECT_EQ(match_device_id(1, sealed, talkative, {}).verdict, stage_verdict::failed);
    EXPECT_EQ(session.pushed(), reason);
    sealed.size = 65;
    EXPECT_EQ(match_device_id(1, sealed, identity, {}).verdict, stage_verdict::failed);
    EXPECT_EQ(session.pushed(), reason);
}

}  // namespace
}  // namespace vellum
