// What a record comes to: verdict, and the one cause that a person is told first.
#pragma once

#include "report/record.h"

namespace vellum::reporting {

// The exit code for a device whose evidence does not hold.
inline constexpr int evidence_refused = 6;

// Fills verdict and cause from exit code, stages and findings. `ran_stages`: the run came as far as its first stage,
// which an unsealing does not have.
void conclude_record(run_record& record, bool ran_stages, bool out_of_memory);

// The same for a device whose evidence is refused; of its findings the gravest is the cause.
void refuse_record(run_record& record);

// The words of the verdict: "passed", "failed", ...
const char* verdict_name(run_verdict verdict);

// Why the stage failed: the first of its findings that tells; the stage itself when none does.
const words* cause_of(const stage_record& stage);

// The stage that a finding of the cause stands under; null when it stands under none.
const stage_record* stage_of_cause(const run_record& record);

struct stage_counts {
    std::size_t passed = 0;  // with those that warn and those that are hidden
    std::size_t warned = 0;
    std::size_t failed = 0;
    std::size_t skipped = 0;
};
stage_counts count_stages(const run_record& record);

}  // namespace vellum::reporting
