// Against a TPM emulator, which emulator_test.sh starts: VELLUM_TEST_TCTI says how it is reached.
#include <gtest/gtest.h>

#include <cstdlib>

#include "lab/byte_builder.h"
#include "lab/pcr5_builder.h"
#include "lab/sample_boot.h"
#include "platform/recorded/tpm_library.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"
#include "tpm/tbs/tpm_access.h"

namespace vellum {
namespace {

// TPM2_PCR_Extend with an empty password; true when the TPM reports success.
bool extend(tpm_channel& tpm, std::uint32_t pcr, byte_view digest) {
    lab::byte_builder body;
    body.u32_be(0x182).u32_be(pcr);
    body.u32_be(9).u32_be(0x40000009).u16_be(0).u8(0).u16_be(0);
    body.u32_be(1).u16_be(lab::TPM_ALG_SHA256).bytes(digest);
    const auto size = static_cast<std::uint32_t>(6 + body.size());
    const auto command = lab::byte_builder().u16_be(0x8002).u32_be(size).bytes(body.take()).take();
    std::vector<std::uint8_t> response(512);
    std::size_t received = 0;
    if (tpm.exchange(command, response, received) != tbs::success) {
        return false;
    }
    byte_reader reader(byte_view(response).first(received));
    std::uint32_t code = 1;
    return reader.skip(6) && reader.u32_be(code) && code == 0;
}

TEST(Emulator, HasThePcrsThatTheLogPredicts) {
    const char* configuration = std::getenv("VELLUM_TEST_TCTI");
    if (configuration == nullptr) {
        GTEST_SKIP() << "emulator_test.sh runs this test";
    }
    test::log_session session;
    lab::event_log boot = lab::clean_boot();
    boot.events.front() = lab::startup_locality(0);
    {
        const auto tpm = open_tpm_channel(configuration);
        ASSERT_NE(tpm, nullptr);
        for (const lab::log_event& event : boot.events) {
            sha256_value digest{};
            ASSERT_EQ(sha256(event.data, digest), result::success);
            ASSERT_TRUE(event.type == EV_NO_ACTION || extend(*tpm, event.pcr, digest));
        }
    }
    const test::temp_dir device;
    device.write("tpm/tcti", std::string(configuration) + "\n");
    recorded_system_errors errors(session.errors);
    recorded_tpm_library library(device.path().string(), errors);
    pcr_value_list pcrs{};
    ASSERT_EQ(read_pcrs_via_tbs(library, pcrs), result::success) << session.pushed();
    EXPECT_EQ(pcrs, lab::pcr_values_after(boot));
}

}  // namespace
}  // namespace vellum
