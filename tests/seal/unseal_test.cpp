#include "seal/unseal_conditions.h"
#include "tests/seal/history.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

constexpr const char* aborted =
    "Unseal operation aborted. SEDLockEnabled is enabled in the Norvane(R) KVR Feature configuration\n"
    "but the disk is probably not unlocked. To properly unseal device and unlock the disk, try to run\n"
    "--unseal with the Norvane(R) KVR Sealing Tool.\n";
const std::string locked = "SEDLockEnabled enabled in the Skyport configuration.\n";

struct unseal_row {
    const char* name;
    std::uint32_t feature_state;
    std::uint8_t sed_lock;
    std::uint8_t measurement_boot;
    std::uint32_t seal_state;
    const char* log;
    result expected;
    std::string said;  // logged, then pushed
};

const unseal_row unseal_rows[] = {
    {"MeasurementBootComesFirst", 2, 1, 1, 1, "R", result::success,
     "Measurement Collection Boot enabled in the Skyport configuration.\n"},
    {"LastBreakByUnlockedDisk", 2, 1, 0, 2, "B X E", result::success,
     locked + "Seal is broken due to the disk found unlocked.\n"},
    {"EarlierBreakByUnlockedDisk", 2, 1, 0, 2, "X B", result::refused, locked + aborted},
    {"BrokenWithoutARecord", 2, 1, 0, 2, "", result::refused, locked + aborted},
};

TEST(Unseal, IsAllowedByAnyConditionInOrder) {
    for (const unseal_row& row : unseal_rows) {
        test::log_session session(log_level::debug);
        seal_flag_record flags;
        flags.sed_lock = row.sed_lock;
        flags.measurement_collection_boot = row.measurement_boot;
        EXPECT_EQ(check_unseal_allowed(row.feature_state, flags, test::history(row.log, row.seal_state)),
                  row.expected)
            << row.name;
        const std::string pushed = session.pushed();
        EXPECT_EQ(session.logged() + pushed, row.said) << row.name;
    }
}

}  // namespace
}  // namespace vellum
