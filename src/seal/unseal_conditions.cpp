#include "seal/unseal_conditions.h"

#include "core/findings.h"
#include "core/log.h"
#include "firmware/status.h"
#include "seal/seal_events.h"

namespace vellum {
namespace {

// Each condition stands alone: success when it allows unsealing (and says why at debug), refused when it does not.

// The log holds an event that tells that the disk carries no lock any more.
result check_disk_lock_events_present(const seal_log& log) {
    if (find_seal_event(log, SEAL_DISK_LOCK_REMOVAL) != nullptr) {
        log_at(log_level::debug, "Event SEAL_DISK_LOCK_REMOVAL present in the seal log.");
        return result::success;
    }
    if (find_seal_event(log, SEAL_DISK_LOCK_NOT_PRESENT) != nullptr) {
        log_at(log_level::debug, "Event SEAL_DISK_LOCK_NOT_PRESENT present in the seal log.");
        return result::success;
    }
    return result::refused;
}

// SED lock is not configured, or the disk lock is gone.
result check_sed_lock_allows_unseal(const seal_flag_record& flags, const seal_log& log) {
    if (flags.sed_lock == 0) {
        return result::success;
    }
    log_at(log_level::debug, "SEDLockEnabled enabled in the Skyport configuration.");
    return check_disk_lock_events_present(log);
}

// The device is configured for a measurement collection boot.
result check_measurement_collection_boot(const seal_flag_record& flags) {
    if (flags.measurement_collection_boot == 0) {
        return result::refused;
    }
    log_at(log_level::debug, "Measurement Collection Boot enabled in the Skyport configuration.");
    return result::success;
}

// The seal is broken and the latest break was that the disk was found unlocked.
result check_broken_by_unlocked_disk(const seal_log& log) {
    const seal_record* broken = find_last_seal_event(log, SEAL_BROKEN);
    if (log.seal_state != seal_state_broken || broken == nullptr ||
        seal_broken_reason(*broken) != seal_broken_disk_unlocked) {
        return result::refused;
    }
    log_at(log_level::debug, "Seal is broken due to the disk found unlocked.");
    return result::success;
}

}  // namespace

result check_unseal_allowed(std::uint32_t feature_state, const seal_flag_record& flags, const seal_log& log) {
    if (feature_state == feature_state_inactive) {
        report("unseal-already-inactive"_id, "Norvane(R) KVR feature is already inactive.");
        return result::refused;
    }
    if (feature_state != feature_state_configured && feature_state != feature_state_active) {
        report("unseal-state-undefined"_id, "Norvane(R) KVR feature is in the undefined state %x.", feature_state)
            .field("value", feature_state);
        return result::internal_failure;
    }
    if (ok(check_measurement_collection_boot(flags)) || ok(check_sed_lock_allows_unseal(flags, log)) ||
        ok(check_broken_by_unlocked_disk(log))) {
        return result::success;
    }
    report("unseal-disk-locked"_id,
           "Unseal operation aborted. SEDLockEnabled is enabled in the Norvane(R) KVR Feature configuration\n"
           "but the disk is probably not unlocked. To properly unseal device and unlock the disk, try to run\n"
           "--unseal with the Norvane(R) KVR Sealing Tool.");
    return result::refused;
}

}  // namespace vellum
