#include "tpm/pcr_checks.h"

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

void report_difference(std::size_t pcr, const pcr_value& current, const pcr_value& expected,
                       const char* current_source, const char* expected_source) {
    report("pcr-differs"_id, "PCR[%02d] does not match.", static_cast<int>(pcr))
        .field("pcr", pcr)
        .field("expected", byte_view(expected))
        .field("expected_source", expected_source)
        .field("actual", byte_view(current))
        .field("actual_source", current_source)
        .line(" Expected(%s): 0x%s", expected_source, sha256_text(expected).c_str())
        .line(" Actual(%s): 0x%s", current_source, sha256_text(current).c_str());
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
            report_difference(pcr, current[pcr], expected[pcr], current_source, expected_source);
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
    const finding_lines raised = report("event-digest-differs"_id, "TPM Log Event %s digest mismatch:", type)
                                     .line(" Calculated:         %s", sha256_text(digest).c_str())
                                     .line(" From TPM Event log: %s", sha256_text(event.digest).c_str())
                                     .field("pcr", event.pcr)
                                     .field("position", event.log_position)
                                     .field("expected", byte_view(event.digest))
                                     .field("actual", byte_view(digest));
    add_event_type(raised, "event_type", event.type);
    return false;
}

stage_outcome retrieve_pcrs(tpm_library& tpm, pcr_value_list& out) {
    if (!ok(read_pcrs_via_tbs(tpm, out))) {
        return failed();
    }
    log_at(log_level::debug, "Succesfully loaded PCRs from TPM using TBS API.");
    log_at(log_level::debug, "PCRs fetched from TPM:");
    print_pcr_list(out);
    return passed();
}

void announce_log_pcr_mask(std::uint32_t mask) {
    log_at(log_level::info, "Using PCR mask 0x%08x", mask | always_matched_pcrs);
}

stage_outcome match_log_with_pcrs(const pcr_value_list& tpm, const pcr_value_list& log, std::uint32_t mask) {
    return pass_if(ok(compare_pcr_lists(tpm, log, "TPM", "TPM Log", mask | always_matched_pcrs)));
}

stage_outcome match_pcrs_with_pmf(const pcr_value_list& tpm, const PmfDocument& pmf) {
    pmf_pcr_set expected;
    PMF::PCRMetadataFileExtension extension;
    if (!ok(get_pmf_extension(pmf, extension)) || !ok(read_pmf_pcrs(pmf, expected))) {
        return failed();
    }
    if (expected.mask == 0) {
        report("pmf-without-pcrs"_id, "PMF::PCRMetadataExtension does not contain PCRs");
        return failed();
    }
    stage_outcome outcome;
    outcome.display_name = "PCR[" + pcr_mask_text(expected.mask, ",") + "] values match PMF";
    const result listed = check_pmf_pcr_set(extension);
    if (!ok(listed) && listed != result::check_failed) {
        return outcome;
    }
    if (ok(compare_pcr_lists(tpm, expected.values, "TPM", "PMF", expected.mask))) {
        outcome.verdict = pass_or_warn(!ok(listed)).verdict;
    }
    return outcome;
}

}  // namespace vellum
