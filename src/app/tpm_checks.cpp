// The stages that hold PCRs, event logs and the PMF's PCR values against each other.
#include "app/checks.h"
#include "app/compared_pcrs.h"
#include "core/findings.h"
#include "tpm/pcr_checks.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

constexpr std::uint8_t default_locality = 0;
constexpr std::uint8_t ironwall_locality = 3;

// The event that the replay of PCR[0] started from: of several, the last.
std::uint8_t replayed_locality(const tpm_event_chain& pcr0) {
    if (!pcr0.startup_locality) {
        log_at(log_level::info,
               "The Startup Locality Event was not found in TPM Event Log - assuming default TPM Startup Locality.");
        return default_locality;
    }
    return startup_locality_of(pcr0.events[*pcr0.startup_locality]).value_or(default_locality);
}

}  // namespace

stage_outcome retrieve_tpm_pcrs(validation_state& state) {
    return retrieve_pcrs(state.machine.tpm, state.tpm_pcrs);
}

void announce_compared_pcrs(const validation_state& state) {
    announce_log_pcr_mask(selected_pcrs(state));
}

std::string tpm_log_note(const validation_state& state) {
    return state.log_source == live_log_source::file ? "from file" : "";
}

stage_outcome retrieve_tpm_log(validation_state& state) {
    if (!ok(load_tpm_log(state.machine.tpm, state.log_source, &state.tpm_event_log_file, state.live_log))) {
        return failed(tpm_log_note(state));
    }
    log_at(log_level::info, "Retrieving PCRs from live TPM Log.");
    state.live_log_pcrs = replay_pcrs_from_log(*state.live_log);
    log_at(log_level::debug, "PCRs fetched from TPM Log:");
    print_pcr_list(state.live_log_pcrs);
    return passed(tpm_log_note(state));
}

stage_outcome match_reference_log(validation_state& state) {
    return compare_reference_tpm_log(*state.live_log, *state.reference_log, selected_pcrs(state));
}

void print_compared_logs(const validation_state& state, const stage_outcome&) {
    print_log_sources(state.log_source, state.tpm_event_log_file, state.reference_tpm_log_file);
}

stage_outcome match_log_with_tpm(validation_state& state) {
    return match_log_with_pcrs(state.tpm_pcrs, state.live_log_pcrs, selected_pcrs(state));
}

stage_outcome match_tpm_with_pmf(validation_state& state) {
    return match_pcrs_with_pmf(state.tpm_pcrs, *state.pmf);
}

stage_outcome check_ironwall(validation_state& state) {
    if (state.config.seal.flags.ironwall == 0) {
        return passed("Not Requested");
    }
    log_at(log_level::debug, "Expected TPM Startup Locality: 3");
    const std::uint8_t locality = replayed_locality(state.live_log->chains[0]);
    if (locality == ironwall_locality) {
        return passed();
    }
    report("startup-locality-not-ironwall"_id, "Invalid TPM Startup Locality. Current: (%d), expected: (3).",
           locality)
        .field("expected", ironwall_locality)
        .field("actual", locality);
    return failed();
}

}  // namespace vellum
