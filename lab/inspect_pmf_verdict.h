// What speaks against a PMF. Internal to inspect.
#pragma once

#include "lab/inspect_report.h"
#include "pmf/trust_steps.h"

namespace vellum::lab {

// What a PMF is judged by.
struct pmf_yardstick {
    pmf_trust_settings settings;
    bool names_authorities = false;  // if not, chains cannot be judged
};

// Takes every step of a trust decision, which also loads the certificates of the case, and runs the rules that
// validation warns of. Adds reasons and cautions, and under "signature" and "chain" what they are about.
void judge_pmf(trust_case& it, const pmf_yardstick& yardstick, finding_console& findings, report& out);

}  // namespace vellum::lab
