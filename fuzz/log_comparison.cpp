// Two event logs, and their comparison.
#include "tpm/log_comparison.h"
#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

struct findings {
    bool error = false;
    bool warning = false;

    bool operator==(const findings&) const = default;
};

findings compare(const tpm_events_chains& live, const tpm_events_chains& reference, std::uint32_t mask) {
    findings found;
    compare_tpm_log_chains(live, reference, mask, found.error, found.warning);
    return found;
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::optional<tpm_events_chains> live;
    std::optional<tpm_events_chains> reference;
    const bool read = ok(parse_tpm_log(take_part(reader), live)) && ok(parse_tpm_log(take_part(reader), reference));
    if (!read) {
        return;
    }
    const findings found = compare(*live, *reference, all_pcrs);
    demand(compare(*live, *live, all_pcrs) == findings(), "a log is equal to itself");
    demand(compare(*reference, *live, all_pcrs) == found, "the order of the logs does not matter");
    findings each;
    for (std::uint32_t pcr = 0; pcr < pcr_count; ++pcr) {
        compare_tpm_log_chains(*live, *reference, 1U << pcr, each.error, each.warning);
    }
    demand(each == found, "the whole comparison finds what the comparisons of its PCRs find");
    any_outcome(compare_reference_tpm_log(*live, *reference, all_pcrs));
}

}  // namespace vellum::fuzz
