#include "tpm/log_comparison.h"

#include <array>
#include <cstdio>
#include <string>

#include "core/log.h"
#include "tpm/comparison_report.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

constexpr std::size_t stage_name_size = 256;

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

bool make_stage_name(std::uint32_t pcr_mask, std::string& out) {
    std::array<char, stage_name_size> list{};
    std::array<char, stage_name_size> name{};
    if (!ok(pcr_mask_to_list(pcr_mask, list))) {
        return false;
    }
    const int written =
        std::snprintf(name.data(), name.size(), "TPM Log matches Reference TPM Log (PCRs [%s])", list.data());
    if (written < 0 || static_cast<std::size_t>(written) >= name.size()) {
        log_at(log_level::error, "Cannot generate pcr metadata stage name. Sprintf returned %d.", written);
        return false;
    }
    out = name.data();
    return true;
}

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
    stage_outcome outcome;
    if (!make_stage_name(pcr_mask, outcome.display_name)) {
        constexpr const char* text =
            "   An error occured while converting pcrs mask to string and trying to create stage name.";
        write_console(log_level::error, text, colour::red);
        write_console(log_level::error, "\n");
        log_to_file(log_level::error, "%s", text);
        return outcome;
    }
    log_at(log_level::info, "Using PCR mask 0x%08x", pcr_mask);
    bool error_occurred = false;
    bool warning_occurred = false;
    compare_tpm_log_chains(live, reference, pcr_mask, error_occurred, warning_occurred);
    if (!error_occurred) {
        outcome.verdict = passed_or_warned(warning_occurred);
    }
    return outcome;
}

}  // namespace vellum
