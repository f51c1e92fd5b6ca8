#include "tpm/event_details/remarks.h"

#include "core/pcr.h"

namespace vellum {

void add_remark(std::vector<remark>& out, const char* id, remark_severity severity, std::uint32_t pcrs,
                std::uint32_t event, std::string_view says) {
    out.push_back({id, severity, pcrs, event, std::string(says)});
}

bool is_one_pcr(std::uint32_t mask) {
    return (mask & (mask - 1)) == 0;
}

std::string pcrs_text(std::uint32_t mask) {
    std::string list = pcr_mask_text(mask, ", ");
    if (const std::size_t comma = list.rfind(','); comma != std::string::npos) {
        list.replace(comma, 1, " and");
    }
    return (is_one_pcr(mask) ? "PCR " : "PCRs ") + list;
}

}  // namespace vellum
