#include "tpm/pcr_list.h"

#include <algorithm>
#include <string>

#include "base/text.h"
#include "core/log.h"

namespace vellum {

pcr_value_list replay_pcrs_from_log(const tpm_events_chains& chains) {
    pcr_value_list list{};
    for (std::size_t pcr = 0; pcr < list.size(); ++pcr) {
        list[pcr] = chains.chains[pcr].last().value;
    }
    return list;
}

void print_pcr_list(const pcr_value_list& list) {
    for (std::size_t pcr = 0; pcr < list.size(); ++pcr) {
        log_at(log_level::debug, "PCR[%02d]: %s", static_cast<int>(pcr), sha256_text(list[pcr]).c_str());
    }
}

}  // namespace vellum
