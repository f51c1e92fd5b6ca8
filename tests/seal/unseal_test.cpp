#include <gtest/gtest.h>

#include "lab/seal_builder.h"
#include "seal/unseal_conditions.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

constexpr const char* aborted =
    "Unseal operation aborted. SEDLockEnabled is enabled in the Norvane(R) KVR Feature configuration\n"
    "but the disk is probably not unlocked. To properly unseal device and unlock the disk, try to run\n"
    "--unseal with the Norvane(R) KVR Sealing Tool.\n";
constexpr const char* sed_lock = "SEDLockEnabled enabled in the Skyport configuration.\n";

struct unseal_row {
    const char* name;
    std::uint32_t feature_state;
    seal_flag_record flags;
    std::uint32_t seal_state;
    std::vector<lab::seal_event> events;
    result expected;
    std::string logged;
    std::string pushed;
};

seal_flag_record locked(std::uint8_t measurement_boot = 0) {
    seal_flag_record flags;
    flags.sed_lock = 1;
    flags.measurement_collection_boot = measurement_boot;
    return flags;
}

const lab::seal_event unlocked = lab::seal_broken(0, 9, 1, 1);
const lab::seal_event intruded = lab::seal_broken(0, 2, 1, 1);

const unseal_row unseal_rows[] = {
    {"Inactive", 0, {}, 1, {}, result::refused, "", "Norvane(R) KVR feature is already inactive.\n"},
    {"UndefinedState",
     0xAB,
     {},
     1,
     {},
     result::internal_failure,
     "",
     "Norvane(R) KVR feature is in the undefined state ab.\n"},
    {"NoLock", 1, {}, 1, {}, result::success, "", ""},
    {"LockedDisk", 2, locked(), 1, {lab::seal_enabled(0), unlocked}, result::refused, sed_lock, aborted},
    {"MeasurementBootComesFirst",
     2,
     locked(1),
     1,
     {lab::disk_lock_removal(0, 1, 1)},
     result::success,
     "Measurement Collection Boot enabled in the Skyport configuration.\n",
     ""},
    {"LockRemoved",
     2,
     locked(),
     1,
     {lab::disk_lock_not_present(0, 2, 2), lab::disk_lock_removal(0, 1, 1)},
     result::success,
     std::string(sed_lock) + "Event SEAL_DISK_LOCK_REMOVAL present in the seal log.\n",
     ""},
    {"LockNotPresent",
     1,
     locked(),
     1,
     {lab::disk_lock_not_present(0, 2, 2)},
     result::success,
     std::string(sed_lock) + "Event SEAL_DISK_LOCK_NOT_PRESENT present in the seal log.\n",
     ""},
    {"LastBreakByUnlockedDisk",
     2,
     locked(),
     2,
     {intruded, unlocked, lab::seal_enabled(0)},
     result::success,
     std::string(sed_lock) + "Seal is broken due to the disk found unlocked.\n",
     ""},
    {"EarlierBreakByUnlockedDisk", 2, locked(), 2, {unlocked, intruded}, result::refused, sed_lock, aborted},
    {"BrokenWithoutARecord", 2, locked(), 2, {}, result::refused, sed_lock, aborted},
};

TEST(Unseal, IsAllowedByAnyConditionInOrder) {
    for (const unseal_row& row : unseal_rows) {
        test::log_session session(log_level::debug);
        lab::seal_log built;
        built.seal_state = row.seal_state;
        built.events = row.events;
        seal_log log;
        ASSERT_EQ(read_seal_log(lab::build(built), log), result::success);
        EXPECT_EQ(check_unseal_allowed(row.feature_state, row.flags, log), row.expected) << row.name;
        EXPECT_EQ(session.logged(), row.logged) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

}  // namespace
}  // namespace vellum
