// The PCRs that a PMF expects: their values, and the rules about which of them it lists.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "core/pcr.h"
#include "pmf/format.h"

namespace vellum {

// The PCRs that a PMF may list, and those that it has to.
inline constexpr std::uint32_t supported_pcrs = 0x8DF;
inline constexpr std::uint32_t mandatory_pcrs = 0x0D;

struct pmf_pcr_set {
    pcr_value_list values{};  // zeros for a PCR that is not listed
    std::uint32_t mask = 0;   // the PCRs that are listed
};

// The values that the PCR metadata lists; of a PCR that is listed more than once, the last. Results of
// get_pmf_extension; check_failed for an index that is no PCR.
result read_pmf_pcrs(const PmfDocument& document, pmf_pcr_set& out);

// The rules about the listed PCRs. Returns check_failed when an index is no PCR or a mandatory
// PCR is missing, which the caller treats as a warning; extraneous and repeated PCRs are reported, nothing more.
result check_pmf_pcr_set(const PMF::PCRMetadataFileExtension& extension);

}  // namespace vellum
