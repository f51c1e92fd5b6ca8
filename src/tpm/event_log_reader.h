// A forward cursor over the records of an event log. It views the log and copies nothing but the digests of a
// tpm_event.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/bytes.h"
#include "base/result.h"
#include "tpm/event_log.h"

namespace vellum {

inline constexpr std::uint16_t tpm_alg_sha1 = 0x0004;  // TPM_ALG_ID
inline constexpr std::uint16_t tpm_alg_sha256 = 0x000B;

enum class log_format { legacy_sha1, crypto_agile };

// Why there is no event where the cursor stands.
enum class log_flaw {
    none,             // the log ends there, or there is one
    event_cut,        // fewer bytes than the smallest event takes
    digests_cut,      // its digests reach past the end
    digest_count,     // it claims more digests than an event can have
    no_digests,       // it has none; where the SHA-256 bank is asked for, that is an event which cannot be read
    data_cut,         // its data reach past the end
    spec_id_cut,      // the Spec ID event is too short for what it lists; the log is not opened, as for the next two
    spec_id_version,  // it is older than the crypto-agile layout
    spec_id_algorithms,  // it lists more algorithms than an event can have digests
};

// Which logs can be read: a validation needs the SHA-256 bank, who looks at a log takes what is there.
enum class log_banks { sha256, any };

// A digest of one bank, in the log.
struct event_digest {
    std::uint16_t algorithm = 0;  // TPM_ALG_ID
    byte_view value;
};

// The most digests that an event can have.
inline constexpr std::size_t max_event_digests = 5;

// An event as it stands in the log, with the digests of all its banks.
struct logged_event {
    std::uint32_t pcr = 0;
    std::uint32_t type = 0;
    std::array<event_digest, max_event_digests> digests{};  // in log order
    std::size_t digest_count = 0;
    byte_view data;

    std::span<const event_digest> banks() const { return std::span(digests).first(digest_count); }
};

// Reports that the log's structure is invalid, and yields invalid.
result invalid_log_structure();

// Whether the bytes are those of an unused area: a firmware may keep its log in one that is larger than it.
inline bool is_unused_area(byte_view bytes) {
    return all_zero(bytes) || all_of_value(bytes, 0xFF);
}

class event_log_reader {
  public:
    // Reads the Spec ID event and moves past it; a log that begins with another event is opened in the legacy layout
    // on that event. Fails with invalid; the reason is reported where one has a text. With any banks the Spec ID
    // event may be of any register, as it is in the log of a confidential machine.
    result open(byte_view log, log_banks banks = log_banks::sha256);

    // Whether the cursor stands on an event: one that lies within the log, or one that is oversized. Any other record
    // that does not fit ends the log silently.
    bool at_event() const { return record_.size != 0; }

    log_format format() const { return format_; }

    // Where the current event begins; past the last one, where what is no event begins.
    std::size_t position() const { return current_; }

    // What ended the log, or why it cannot be opened where no text says it.
    log_flaw flaw() const;

    // Whether the current event claims a size beyond 32 bits, which no log can hold. It is read without its data, and
    // nothing can be said of what follows it.
    bool oversized() const { return record_.oversized; }

    // The banks that the Spec ID event lists; none in the legacy layout.
    struct algorithm {
        std::uint16_t id = 0;
        std::uint16_t digest_size = 0;  // bytes
    };
    std::span<const algorithm> algorithms() const { return std::span(algorithms_).first(algorithm_count_); }

    // The current event's PCR index.
    std::uint32_t pcr() const;

    // Reads the current event's index, type, digest and data; of several SHA-256 digests the first. False when it
    // carries none.
    [[nodiscard]] bool read(tpm_event& out) const;

    // Reads the current event with all its digests. False when there is none, or one that is oversized.
    [[nodiscard]] bool read(logged_event& out) const;

    // The Spec ID event, whose digest is SHA-1's; false in the legacy layout.
    [[nodiscard]] bool read_spec_id(logged_event& out) const;

    // Moves to the next event.
    void advance();

  private:
    static constexpr std::size_t max_algorithms = max_event_digests;

    // Where the parts of a record lie, as offsets from its start.
    struct record {
        std::size_t digest = 0;  // the SHA-256 digest; 0: the record has none
        std::size_t data = 0;
        std::size_t size = 0;  // of the whole record, without its data when it is oversized; 0: it does not fit
        bool oversized = false;
    };

    result open_spec_id(byte_view data);
    result refuse(log_flaw flaw);
    result refuse_cut(byte_view spec_id);
    std::size_t smallest_event() const;
    [[nodiscard]] bool read_algorithms(byte_reader& reader, std::uint32_t count);
    result check_algorithms() const;
    result check_sha256_size() const;
    std::uint16_t digest_size(std::uint16_t algorithm_id) const;
    void measure(byte_view rest, record& out) const;
    [[nodiscard]] bool measure_digests(byte_reader& reader, record& out) const;
    [[nodiscard]] bool read_digests(byte_reader& reader, logged_event& out) const;
    void take(std::size_t offset);

    byte_view log_;
    log_banks banks_ = log_banks::sha256;
    std::size_t current_ = 0;
    record record_;  // at `current_`; size 0: past the end
    log_format format_ = log_format::legacy_sha1;
    log_flaw opening_flaw_ = log_flaw::none;
    std::array<algorithm, max_algorithms> algorithms_{};
    std::size_t algorithm_count_ = 0;
};

}  // namespace vellum
