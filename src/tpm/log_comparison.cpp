#include "tpm/log_comparison.h"

#include <array>
#include <cstdio>
#include <string>

#include "core/log.h"
#include "tpm/comparison_report.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

bool is_informational(const tpm_event* event) {
    return event != nullptr && event->type == EV_NO_ACTION;
}

// The walk over one PCR.
class pcr_comparison {
  public:
    pcr_comparison(const tpm_event_chain& live, const tpm_event_chain& reference, bool earlier_reports)
        : live_{&live, log_side::live}, reference_{&reference, log_side::reference}, earlier_(earlier_reports) {}

    void run() {
        while (!mismatch_ && (live_.event() != nullptr || reference_.event() != nullptr)) {
            step();
        }
    }

    bool mismatch() const { return mismatch_; }
    bool warning() const { return warning_; }

  private:
    void step() {
        const tpm_event* live = live_.event();
        const tpm_event* reference = reference_.event();
        if (is_informational(live) && is_informational(reference)) {
            advance_both();
        } else if (is_informational(live)) {
            skip_informational(live_);
        } else if (is_informational(reference)) {
            skip_informational(reference_);
        } else if (live == nullptr || reference == nullptr || live->value != reference->value) {
            header();
            report_first_difference(live_, reference_);
            mismatch_ = true;
        } else {
            if (live->type != reference->type) {
                header();
                report_type_difference(live_, reference_);
                warning_ = true;
            }
            advance_both();
        }
    }

    void skip_informational(chain_cursor& cursor) {
        header();
        report_informational_event(cursor);
        warning_ = true;
        ++cursor.position;
    }

    void advance_both() {
        ++live_.position;
        ++reference_.position;
    }

    // Once per PCR, before its first report.
    void header() {
        if (!mismatch_ && !warning_) {
            report_pcr_header(*live_.chain, *reference_.chain, earlier_);
        }
    }

    chain_cursor live_;
    chain_cursor reference_;
    bool earlier_;
    bool mismatch_ = false;
    bool warning_ = false;
};

}  // namespace

void compare_tpm_log_chains(const tpm_events_chains& live, const tpm_events_chains& reference, std::uint32_t pcr_mask,
                            bool& error_occurred, bool& warning_occurred) {
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        const int shown = static_cast<int>(pcr);
        if ((pcr_mask >> pcr & 1U) == 0) {
            log_at(log_level::debug, "Skipping comparison of PCR[%02d] events - given PCR not present in PCR mask.",
                   shown);
            continue;
        }
        log_at(log_level::debug, "Comparing PCR[%02d] events.", shown);
        pcr_comparison comparison(live.chains[pcr], reference.chains[pcr], error_occurred || warning_occurred);
        comparison.run();
        error_occurred = error_occurred || comparison.mismatch();
        warning_occurred = warning_occurred || comparison.warning();
    }
}

stage_outcome compare_reference_tpm_log(const tpm_events_chains& live, const tpm_events_chains& reference,
                                        std::uint32_t pcr_mask) {
    log_at(log_level::info, "Using PCR mask 0x%08x", pcr_mask);
    bool error_occurred = false;
    bool warning_occurred = false;
    compare_tpm_log_chains(live, reference, pcr_mask, error_occurred, warning_occurred);
    stage_outcome outcome = error_occurred ? failed() : pass_or_warn(warning_occurred);
    outcome.display_name = "TPM Log matches Reference TPM Log (PCRs [" + pcr_mask_text(pcr_mask, ",") + "])";
    return outcome;
}

}  // namespace vellum
