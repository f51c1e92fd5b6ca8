// What is odd about an event log, found in one pass: whether it is whole, whether its banks were used, whether the
// separators stand where the TCG PC Client Platform Firmware Profile wants them, and whether given PCR values are
// what it adds up to. Each kind of remark is made once, however many events it is about, so that what is kept does
// not grow with the log.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "tpm/event_details/digest_claim.h"
#include "tpm/event_details/log_replay.h"
#include "tpm/event_details/pcr_comparison.h"
#include "tpm/event_details/remarks.h"
#include "tpm/event_log_reader.h"

namespace vellum {

// The events of one kind of oddity.
struct sighting {
    std::uint32_t pcrs = 0;      // a mask
    std::uint32_t position = 0;  // of the first event; 0: there is none
    std::uint32_t type = 0;      // of that event
    std::size_t count = 0;

    void add(const logged_event& event, std::uint32_t at);
    void add(const sighting& other);
};

class log_health {
  public:
    // Of a log that was opened with any banks, whose reader stands on the first event.
    log_health(const event_log_reader& log, std::vector<given_pcr> given);

    // Every event in log order, which are counted from 1, and what its digests prove.
    void take(const logged_event& event, digest_proof proof);

    // What the registers hold after the events so far.
    const log_replay& registers() const { return replay_; }

    // How the given values stand to them.
    const pcr_comparison& given() const { return comparison_; }

    // After the last event; the reader stands where the log ends. Damages first, then cautions and notes.
    std::vector<remark> finish(byte_view log, const event_log_reader& end) const;

  private:
    using separator_digest = std::array<std::uint8_t, max_register_size>;

    bool is_separator_digest(byte_view digest) const;
    bool is_error_digest(byte_view digest) const;
    void note_digests(const logged_event& event);
    void note_separator(const logged_event& event, byte_view digest);
    void note_rules(const logged_event& event);
    void add_events(std::vector<remark>& out) const;
    void add_retyped(std::vector<remark>& out) const;
    void add_separators(std::vector<remark>& out) const;

    log_replay replay_;
    pcr_comparison comparison_;
    std::vector<separator_digest> separator_digests_;  // of the bank that is judged by; the error's is the last
    std::optional<std::size_t> judged_bank_;           // SHA-256, or the first that can be hashed
    bool has_sha256_ = false;
    bool has_pcrs_ = true;  // no registers of a confidential machine
    bool is_legacy_ = false;
    std::uint32_t position_ = 0;

    std::uint32_t separated_ = 0;        // masks of the PCRs that had a separator, ...
    std::uint32_t sha256_extended_ = 0;  // ... a SHA-256 digest that is not zeros, ...
    std::uint32_t others_extended_ = 0;  // ... such a digest of another bank
    sighting beyond_;                    // registers that do not exist
    sighting repeated_separators_;
    sighting errors_;
    std::array<sighting, 8> retyped_separators_;  // by PCR
    sighting false_separators_;
    sighting contradicted_;
    sighting late_;
    sighting misplaced_;
};

// What ended the log where the reader stands, or why it cannot be opened: a clause.
const char* flaw_text(const event_log_reader& log);

// All of it in one go. Nothing for a log that cannot be opened.
std::vector<remark> health_of(byte_view log, std::vector<given_pcr> given);

}  // namespace vellum
