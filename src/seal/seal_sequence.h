// Whether the records of the seal log make a plausible history: findings about times and counters are warnings, a
// repeated or misplaced event is an error and ends the validation at its record. Findings are raised in record order.
// `now` is in seconds since 1970-01-01 UTC.
#pragma once

#include "core/stage.h"
#include "seal/seal_log.h"

namespace vellum {

enum class sequence_verdict { valid = 0, valid_with_warnings = 1, invalid = 2 };

// The records point into the log; the last of their kind, null when there is none. Of an invalid log, the last before
// the validation ended.
struct sequence_findings {
    sequence_verdict verdict = sequence_verdict::valid;
    const seal_record* password_retrieved = nullptr;
    const seal_record* lock_removal = nullptr;
    const seal_record* lock_not_present = nullptr;
};

sequence_findings validate_seal_log_sequence(const seal_log& log, std::int64_t now);

// The check of the stage "Verify Seal Log": prints the log, validates the sequence and, when the seal configuration
// has SED lock enabled, demands that the disk was unlocked, and warns when that was more than an hour ago.
stage_outcome verify_seal_log(const seal_log& log, bool sed_lock_enabled, std::int64_t now);

}  // namespace vellum
