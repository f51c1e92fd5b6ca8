#include "seal/unseal_conditions.h"

#include "firmware/status.h"
#include "seal/seal_events.h"
#include "tests/seal/history.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

TEST(Unseal, OfABrokenSealDependsOnTheLastBreak) {
    struct {
        const char* log;
        result expected;
    } const rows[] = {{"B X E", result::success}, {"X B", result::refused}, {"", result::refused}};
    for (const auto& row : rows) {
        test::log_session session(log_level::off);
        seal_flag_record flags;
        flags.sed_lock = 1;
        EXPECT_EQ(check_unseal_allowed(feature_state_active, flags, test::history(row.log, seal_state_broken)),
                  row.expected)
            << row.log;
    }
}

}  // namespace
}  // namespace vellum
