// Event logs of real machines, where the developer has a folder of them: every *.bin parses or is refused for a
// reason, and replays to the PCR values that a *.pcrs file beside it lists (lines of PCR number and SHA-256 value).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/text.h"
#include "tests/support/log_session.h"
#include "tests/support/real_logs.h"
#include "tpm/event_log.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

void expect_pcrs(const std::filesystem::path& log, const tpm_events_chains& chains) {
    std::ifstream expected(std::filesystem::path(log).replace_extension(".pcrs"));
    const pcr_value_list replayed = replay_pcrs_from_log(chains);
    std::size_t pcr = 0;
    std::string value;
    while (expected >> pcr >> value) {
        ASSERT_LT(pcr, replayed.size());
        EXPECT_EQ(lower_hex(replayed[pcr]), value) << log << " PCR " << pcr;
    }
}

TEST(RealLogs, ParseAndReplayToTheirPcrs) {
    const auto paths = test::real_logs();
    if (paths.empty()) {
        GTEST_SKIP() << "no event logs in \"" << test::real_logs_folder() << "\"";
    }
    for (const auto& path : paths) {
        test::log_session session(log_level::off);
        std::optional<tpm_events_chains> chains;
        const result parsed = parse_tpm_log(test::read_log(path), chains);
        if (ok(parsed)) {
            expect_pcrs(path, *chains);
        } else {
            EXPECT_EQ(parsed, result::invalid) << path;
            EXPECT_NE(session.pushed(), "") << path;
        }
    }
}

}  // namespace
}  // namespace vellum
