// An event log of any banks, and what is odd about it: alone, beside the PCRs that it adds up to, and beside others.
#include "tpm/event_details/log_health.h"

#include <algorithm>

#include "base/text.h"
#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

// More kinds than there are, and each PCR once.
constexpr std::size_t most_remarks = 64;

// What the log adds up to, in its first bank; nothing of a log without one that can be hashed.
std::vector<given_pcr> final_values(event_log_reader reader) {
    log_replay registers(reader);
    for (logged_event event; reader.read(event); reader.advance()) {
        any_outcome(registers.extend(event));
    }
    std::vector<given_pcr> out;
    for (std::uint32_t pcr = 0; registers.bank_count() > 0 && pcr < pcr_count; ++pcr) {
        const byte_view value = registers.value(0, pcr);
        out.push_back({pcr, {value.begin(), value.end()}});
    }
    return out;
}

std::vector<remark> checked_health(byte_view log, const std::vector<given_pcr>& given) {
    std::vector<remark> found = health_of(log, given);
    demand(found.size() <= most_remarks, "remarks do not grow with the log");
    for (const remark& each : found) {
        demand(!each.says.empty() && shown_text(each.says) == each.says, "a remark is one line, and clean");
    }
    return found;
}

// The PCRs of what is said in the one case and not in the other.
std::uint32_t pcrs_beyond(const std::vector<remark>& known, const std::vector<remark>& found) {
    std::uint32_t pcrs = 0;
    for (const remark& each : found) {
        const bool is_known =
            std::any_of(known.begin(), known.end(), [&](const remark& other) { return other.says == each.says; });
        pcrs |= is_known ? 0 : each.pcrs;
    }
    return pcrs;
}

}  // namespace

void check(byte_view input) {
    event_log_reader reader;
    if (!ok(reader.open(input, log_banks::any))) {
        demand(health_of(input, {}).empty(), "nothing is said of what is no log");
        return;
    }
    const std::vector<remark> alone = checked_health(input, {});
    std::vector<given_pcr> given = final_values(reader);
    if (given.empty()) {
        return;
    }
    demand(checked_health(input, given).size() == alone.size(), "a log does not part from what it adds up to");
    for (given_pcr& each : given) {
        each.value.back() ^= 1;
    }
    demand(pcrs_beyond(alone, checked_health(input, given)) == all_pcrs, "a log parts from every other value");
}

}  // namespace vellum::fuzz
