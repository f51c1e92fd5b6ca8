// Whether the device may be unsealed: only when that does not lock the owner out of the disk.
//
// Each condition stands alone: success when it allows unsealing (and says why at debug), refused when it does not.
#pragma once

#include <cstdint>

#include "config/kxl_config.h"
#include "core/result.h"
#include "seal/seal_log.h"

namespace vellum {

// The log holds an event that tells that the disk carries no lock any more.
result check_disk_lock_events_present(const seal_log& log);

// SED lock is not configured, or the disk lock is gone.
result check_sed_lock_allows_unseal(const seal_flag_record& flags, const seal_log& log);

// The device is configured for a measurement collection boot.
result check_measurement_collection_boot(const seal_flag_record& flags);

// The seal is broken and the latest break was that the disk was found unlocked.
result check_broken_by_unlocked_disk(const seal_log& log);

// The whole decision. Success when any condition allows it; refused for an inactive feature or when none does;
// internal_failure for a feature state that has no meaning. The reason is pushed.
result check_unseal_allowed(std::uint32_t feature_state, const seal_flag_record& flags, const seal_log& log);

}  // namespace vellum
