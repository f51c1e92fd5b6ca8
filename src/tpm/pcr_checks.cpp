#include "tpm/pcr_checks.h"

#include <array>
#include <string>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"
#include "pmf/pcr_set.h"
#include "tpm/pcr_list.h"
#include "tpm/tbs/tpm_access.h"

namespace vellum {
namespace {

constexpr std::uint32_t always_matched_pcrs = 1U << 0 | 1U << 5;
constexpr std::size_t pcr_list_room = 256;  // bytes

void push_difference(std::size_t pcr, const pcr_value& current, const pcr_value& expected, const char* current_source,
                     const char* expected_source) {
    static_cast<void>(push_message(" Actual(%s): 0x%s", current_source, sha256_text(current).c_str()));
    static_cast<void>(push_message(" Expected(%s): 0x%s", expected_source, sha256_text(expected).c_str()));
    static_cast<void>(push_message("PCR[%02d] does not match.", static_cast<int>(pcr)));
}

}  // namespace

result compare_pcr_lists(const pcr_value_list& current, const pcr_value_list& expected, const char* current_source,
                         const char* expected_source, std::uint32_t mask) {
    log_at(log_level::debug,
           "Comparing calculated PCRs from %s with PCRs obtained from %s, using mask 0x%x: ", current_source,
           expected_source, mask);
    result compared = result::success;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((mask >> pcr & 1U) != 0 && current[pcr] != expected[pcr]) {
            push_difference(pcr, current[pcr], expected[pcr], current_source, expected_source);
            compared = result::check_failed;
        }
    }
    if (ok(compared)) {
        log_at(log_level::debug, "PCRs from (%s) matches (%s)", current_source, expected_source);
    }
    return compared;
}

bool check_event_digest(const tpm_event& event) {
    const char* type = tpm_event_type_name(event.type);
    sha256_value digest{};
    if (!ok(sha256(event.data, digest))) {
        log_at(log_level::error, "An error occurred while computing SHA256 digest of %s event.", type);
        return false;
    }
    if (digest == event.digest) {
        return true;
    }
    dump_titled(log_level::error, type, event.data);
    static_cast<void>(push_message(" From TPM Event log: %s", sha256_text(event.digest).c_str()));
    static_cast<void>(push_message(" Calculated:         %s", sha256_text(digest).c_str()));
    static_cast<void>(push_message("TPM Log Event %s digest mismatch:", type));
    return false;
}

stage_outcome retrieve_pcrs(tpm_library& tpm, pcr_value_list& out) {
    if (!ok(read_pcrs_via_tbs(tpm, out))) {
        return pass_if(false);
    }
    log_at(log_level::debug, "Succesfully loaded PCRs from TPM using TBS API.");
    log_at(log_level::debug, "PCRs fetched from TPM:");
    print_pcr_list(&out);
    return pass_if(true);
}

void announce_log_pcr_mask(std::uint32_t mask) {
    log_at(log_level::info, "Using PCR mask 0x%08x", mask | always_matched_pcrs);
}

stage_outcome match_log_with_pcrs(const pcr_value_list& tpm, const pcr_value_list& log, std::uint32_t mask) {
    return pass_if(ok(compare_pcr_lists(tpm, log, "TPM", "TPM Log", mask | always_matched_pcrs)));
}

stage_outcome match_pcrs_with_pmf(const pcr_value_list& tpm, const PmfDocument& pmf) {
    stage_outcome outcome;
    pmf_pcr_set expected;
    PMF::PCRMetadataFileExtension extension;
    if (!ok(get_pmf_extension(pmf, extension)) || !ok(read_pmf_pcrs(pmf, expected))) {
        return outcome;
    }
    if (expected.mask == 0) {
        static_cast<void>(push_message("PMF::PCRMetadataExtension does not contain PCRs"));
        return outcome;
    }
    std::array<char, pcr_list_room> list{};
    if (!ok(pcr_mask_to_list(expected.mask, list))) {
        return outcome;
    }
    outcome.display_name = std::string("PCR[") + list.data() + "] values match PMF";
    const result checked = check_pmf_pcr_set(extension);
    if (!ok(checked) && checked != result::check_failed) {
        return outcome;
    }
    const result compared = compare_pcr_lists(tpm, expected.values, "TPM", "PMF", expected.mask);
    if (ok(compared)) {
        outcome.verdict = ok(checked) ? stage_verdict::passed : stage_verdict::passed_with_warnings;
    } else if (compared != result::check_failed) {
        static_cast<void>(
            push_message("An error occurred while comparing PMF::KeyMetadataExtension and PCRs from TPM."));
    }
    return outcome;
}

}  // namespace vellum
