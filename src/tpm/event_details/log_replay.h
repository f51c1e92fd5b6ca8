// The values that a log predicts for the registers of a machine, in every bank that it has and that can be hashed:
// each is extended by the event's digest of that bank, from the value that it has at the start.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/bytes.h"
#include "core/digest.h"
#include "core/pcr.h"
#include "tpm/event_log_reader.h"

namespace vellum {

inline constexpr std::size_t max_register_size = 64;  // SHA-512

class log_replay {
  public:
    // Of a log that was opened with any banks, whose reader stands on the first event. Looks through all of it for
    // the locality at which the TPM was started; of several the last counts.
    explicit log_replay(event_log_reader log);

    // Extends the event's register. False when it has none that there is, or changes none.
    [[nodiscard]] bool extend(const logged_event& event);

    std::size_t bank_count() const { return banks_.size(); }
    std::uint16_t algorithm(std::size_t bank) const { return banks_[bank].algorithm; }

    // Of a register below pcr_count; valid until the next event.
    byte_view value(std::size_t bank, std::size_t pcr) const;

    // The bank of this algorithm; nothing when the log has none that can be hashed.
    std::optional<std::size_t> bank_of(std::uint16_t algorithm) const;

    // The first bank whose values have this size; nothing when there is none.
    std::optional<std::size_t> bank_of_size(std::size_t size) const;

    std::optional<std::uint8_t> startup_locality() const { return locality_; }

  private:
    using register_value = std::array<std::uint8_t, max_register_size>;

    struct bank {
        std::uint16_t algorithm;
        hasher hash;
        std::array<register_value, pcr_count> values{};
        bool failed = false;  // it could not be hashed, and has no values any more
    };

    void add_bank(std::uint16_t algorithm, std::size_t digest_size);

    std::vector<bank> banks_;
    std::optional<std::uint8_t> locality_;
};

}  // namespace vellum
