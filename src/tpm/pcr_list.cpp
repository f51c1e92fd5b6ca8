#include "tpm/pcr_list.h"

#include <cstdio>

#include "core/log.h"
#include "core/text.h"

namespace vellum {

pcr_value_list replay_pcrs_from_log(const tpm_events_chains& chains) {
    pcr_value_list list{};
    for (std::size_t pcr = 0; pcr < list.size(); ++pcr) {
        list[pcr] = chains.chains[pcr].last().value;
    }
    return list;
}

void print_pcr_list(const pcr_value_list* list) {
    if (list == nullptr) {
        log_at(log_level::error, "Could not print PCR values. Internal parameters set to NULL.");
        return;
    }
    for (std::size_t pcr = 0; pcr < list->size(); ++pcr) {
        log_at(log_level::debug, "PCR[%02d]: %s", static_cast<int>(pcr), sha256_text((*list)[pcr]).c_str());
    }
}

result pcr_mask_to_list(std::uint32_t mask, std::span<char> out) {
    if (out.empty()) {
        return result::io_failure;
    }
    std::size_t length = 0;
    out[0] = '\0';
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((mask >> pcr & 1U) == 0) {
            continue;
        }
        const int written =
            std::snprintf(out.data() + length, out.size() - length, length == 0 ? "%zu" : ",%zu", pcr);
        if (written < 0 || static_cast<std::size_t>(written) >= out.size() - length) {
            return result::io_failure;
        }
        length += static_cast<std::size_t>(written);
    }
    return result::success;
}

}  // namespace vellum
