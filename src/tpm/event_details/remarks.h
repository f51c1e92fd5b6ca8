// What there is to say of a log beside its events.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vellum {

enum class remark_severity {
    damage,   // the log is not what it should be, or does not tell the truth
    caution,  // nothing is proved wrong, but somebody should look at it
    note,     // worth knowing
};

struct remark {
    const char* id = "";  // in kebab-case; it stays as it is for ever
    remark_severity severity = remark_severity::note;
    std::uint32_t pcrs = 0;   // a mask of those that it is about; 0: the whole log
    std::uint32_t event = 0;  // position in the log, from 1; of several the first; 0: none
    std::string says;         // sentences
};

void add_remark(std::vector<remark>& out, const char* id, remark_severity severity, std::uint32_t pcrs,
                std::uint32_t event, std::string_view says);

bool is_one_pcr(std::uint32_t mask);

// "PCR 3" or "PCRs 1, 3 and 6".
std::string pcrs_text(std::uint32_t mask);

}  // namespace vellum
