// Whether the device may be unsealed: only when that does not lock the owner out of the disk.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "config/kxl_config.h"
#include "seal/seal_log.h"

namespace vellum {

// Success when SED lock is not configured or the disk lock is gone, when the device is configured for a measurement
// collection boot, or when the disk was found unlocked at the latest break of the seal; which of them, is said at
// debug. Refused for an inactive feature or when none holds; internal_failure for a feature state that has no
// meaning. The reason is reported.
result check_unseal_allowed(std::uint32_t feature_state, const seal_flag_record& flags, const seal_log& log);

}  // namespace vellum
