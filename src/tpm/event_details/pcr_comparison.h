// Holds PCR values that were read from a TPM against those that a log adds up to, after every event, so that it can
// be said up to where a log and a TPM agree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tpm/event_details/log_replay.h"
#include "tpm/event_details/remarks.h"

namespace vellum {

// A value as a TPM gives it; its size says the bank.
struct given_pcr {
    std::uint32_t pcr = 0;  // below pcr_count
    std::vector<std::uint8_t> value;
};

class pcr_comparison {
  public:
    enum class outcome {
        same,
        differs,
        incomparable,  // the log has no bank of values of this size
    };

    struct row {
        given_pcr given;
        std::optional<std::size_t> bank;  // of the replay
        bool matches = false;
        std::optional<std::uint32_t> last_match;  // after which event of the log; 0: before the first
        std::uint32_t events = 0;                 // that extended it

        outcome state() const { return !bank ? outcome::incomparable : matches ? outcome::same : outcome::differs; }
    };

    // Before the first event.
    pcr_comparison(std::vector<given_pcr> given, const log_replay& registers);

    // After the event at this position extended the PCR.
    void take(std::uint32_t pcr, std::uint32_t position, const log_replay& registers);

    const std::vector<row>& rows() const { return rows_; }

    // After the last event.
    void add_remarks(std::vector<remark>& out) const;

  private:
    void compare(row& of, std::uint32_t position, const log_replay& registers) const;
    bool is_of_another_boot() const;

    std::vector<row> rows_;
};

}  // namespace vellum
