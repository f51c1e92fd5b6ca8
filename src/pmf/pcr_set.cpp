#include "pmf/pcr_set.h"

#include <algorithm>
#include <bit>
#include <string>

#include "core/findings.h"
#include "pmf/rule_set.h"

namespace vellum {
namespace {

constexpr std::uint32_t recommended_pcrs = 0;  // none are chosen

struct listed_pcrs {
    std::uint32_t present = 0;
    std::uint32_t repeated = 0;
};

// Whether the text of the PCR numbers could be made; `failure` is logged if not.
[[nodiscard]] bool make_text(std::uint32_t mask, const char* failure, std::string& out) {
    if ((mask & ~all_pcrs) != 0) {
        log_text(log_level::error, failure);
        return false;
    }
    out = pcr_mask_text(mask, ", ");
    return true;
}

result only_supported_pcrs(const listed_pcrs& listed) {
    const std::uint32_t extraneous = listed.present & ~supported_pcrs;
    if (extraneous == 0) {
        return result::success;
    }
    std::string supported;
    std::string found;
    if (!make_text(supported_pcrs, "Could not print supported PCRs.\n", supported) ||
        !make_text(extraneous, "Could not print extraneous PCRs.\n", found)) {
        return result::internal_failure;
    }
    report("pmf-pcrs-extraneous"_id, "PMF::PCRMetadataExtension contains extraneous PCR%s: %s.",
           std::has_single_bit(extraneous) ? "" : "s", found.c_str())
        .field("value", found)
        .field("expected", supported)
        .line("Following PCRs are supported by Norvane(R) KVR: %s.", supported.c_str());
    return result::success;
}

result each_pcr_once(const listed_pcrs& listed) {
    std::string repeated;
    if (listed.repeated != 0 && !make_text(listed.repeated, "Could not print not unique PCRs.\n", repeated)) {
        return result::internal_failure;
    }
    if (listed.repeated != 0) {
        report("pmf-pcr-repeated"_id,
               std::has_single_bit(listed.repeated)
                   ? "PCR[%s] is defined more than once in PMF::PCRMetadataExtension."
                   : "PCRs[%s] are defined more than once in PMF::PCRMetadataExtension.",
               repeated.c_str())
            .field("value", repeated);
    }
    log_at(log_level::debug, "PCRs IDs uniqueness validation: OK.\n");
    return result::success;
}

result mandatory_pcrs_present(const listed_pcrs& listed) {
    const std::uint32_t missing = mandatory_pcrs & ~listed.present;
    if (missing == 0) {
        log_at(log_level::debug, "Occurence of mandatory PCRs validation: OK.\n");
        return result::success;
    }
    std::string mandatory;
    std::string absent;
    if (!make_text(mandatory_pcrs, "Could not print mandatory PCRs.\n", mandatory) ||
        !make_text(missing, "Could not print mandatory PCRs.\n", absent)) {
        return result::internal_failure;
    }
    report("pmf-pcr-mandatory-missing"_id,
           std::has_single_bit(missing) ? "Mandatory PCR[%s] is not present in PMF::PCRMetadataExtension."
                                        : "Mandatory PCRs[%s] are not present in PMF::PCRMetadataExtension.",
           absent.c_str())
        .field("value", absent)
        .field("expected", mandatory)
        .line("Following PCRs are mandatory for Norvane(R) KVR: %s.", mandatory.c_str());
    return result::check_failed;
}

result name_excess_pcrs(const listed_pcrs& listed) {
    const std::uint32_t excess = listed.present & ~mandatory_pcrs;
    if (excess == 0) {
        return result::success;
    }
    std::string mandatory;
    std::string recommended;
    std::string found;
    if (!make_text(mandatory_pcrs, "Could not print mandatory PCRs.\n", mandatory) ||
        !make_text(recommended_pcrs, "Could not print recommended PCRs.\n", recommended) ||
        !make_text(excess, "Could not print extraneous PCRs.\n", found)) {
        return result::internal_failure;
    }
    log_at(log_level::debug, "Following PCRs are mandatory for Norvane(R) KVR: %s.\n", mandatory.c_str());
    log_at(log_level::debug, "Following PCRs are recommended for Norvane(R) KVR: %s.\n", recommended.c_str());
    log_at(log_level::debug, "PMF::PCRMetadataExtension contains excess PCR%s: %s.\n",
           std::has_single_bit(excess) ? "" : "s", found.c_str());
    return result::success;
}

constexpr pmf_rule<listed_pcrs> set_rules[] = {only_supported_pcrs, each_pcr_once, mandatory_pcrs_present,
                                               name_excess_pcrs};

using entry = pmf_entry<PMF::PCRMetadataFileExtension, PMF::PcrEntry>;

result index_is_a_pcr(const entry& it) {
    return demand("pmf-pcr-index"_id, it.entry.index < pcr_count,
                  "PMF::KeyMetadataExtension contains PCR with invalid id [%d]. PCR id must be in range <0, %d>.",
                  it.entry.index, as_int(pcr_count - 1))
        .field("entry", it.index + 1)
        .field("pcr", it.entry.index)
        .field("limit", pcr_count - 1);
}

constexpr pmf_rule<entry> index_rules[] = {index_is_a_pcr};

}  // namespace

result read_pmf_pcrs(const PmfDocument& document, pmf_pcr_set& out) {
    PMF::PCRMetadataFileExtension extension;
    RETURN_IF_FAILED(get_pmf_extension(document, extension));
    if (count_entry_failures(index_rules, extension) != 0) {
        return result::check_failed;
    }
    out = pmf_pcr_set();
    for (const PMF::PcrEntry& entry : extension.entries) {
        std::copy_n(entry.value.begin(), out.values[entry.index].size(), out.values[entry.index].begin());
        out.mask |= 1U << entry.index;
    }
    return result::success;
}

result check_pmf_pcr_set(const PMF::PCRMetadataFileExtension& extension) {
    if (count_entry_failures(index_rules, extension) != 0) {
        return result::check_failed;
    }
    listed_pcrs listed;
    for (const PMF::PcrEntry& entry : extension.entries) {
        const std::uint32_t bit = 1U << entry.index;
        listed.repeated |= listed.present & bit;
        listed.present |= bit;
    }
    return verdict_of(count_failures(set_rules, listed));
}

}  // namespace vellum
