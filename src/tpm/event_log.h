// The TCG event log of a boot as one chain of events per PCR, each event carrying the PCR value that results once
// it is extended. Only the SHA-256 bank is used.
//
// Format: TCG PC Client Platform Firmware Profile, crypto-agile log (a TCG_PCR_EVENT holding the Spec ID event,
// then TCG_PCR_EVENT2 records), little-endian. A log that does not begin with a Spec ID event is read in the legacy
// SHA-1 layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/block_list.h"
#include "base/bytes.h"
#include "base/result.h"
#include "core/findings.h"
#include "core/pcr.h"

namespace vellum {

enum tpm_event_type : std::uint32_t {
    EV_NO_ACTION = 0x00000003,
    EV_SEPARATOR = 0x00000004,
    EV_EFI_VARIABLE_DRIVER_CONFIG = 0x80000001,
    EV_EFI_GPT_EVENT = 0x80000006,
};

struct tpm_event {
    std::uint32_t pcr = 0;
    std::uint32_t log_position = 0;    // 1-based; counts every event after the Spec ID event, ignored ones included
    std::uint32_t chain_position = 0;  // 1-based; 0 for a chain head
    std::uint32_t type = 0;
    sha256_value digest{};
    pcr_value value{};  // of the PCR after this event
    byte_view data;     // into the log buffer
};

inline constexpr std::size_t events_per_block = 32;  // 3 KiB

// The events of one PCR in log order. The head stands for the PCR before its first event: type 0, positions 0, and
// the PCR's reset value (with the Startup Locality applied for PCR 0).
struct tpm_event_chain {
    tpm_event head;
    block_list<tpm_event, events_per_block> events;
    std::optional<std::size_t> startup_locality;  // index of the Startup Locality event

    // The event at a chain position, the head at position 0; null past the end.
    const tpm_event* at(std::size_t position) const;

    // The last event, or the head of an empty chain.
    const tpm_event& last() const {
        if (events.empty()) {
            return head;
        }
        return events.back();
    }
};

// Owns the log buffer that the events view. Movable; a copy would view the original's buffer.
struct tpm_events_chains {
    tpm_events_chains() = default;
    ~tpm_events_chains() = default;
    tpm_events_chains(tpm_events_chains&&) = default;
    tpm_events_chains& operator=(tpm_events_chains&&) = default;
    tpm_events_chains(const tpm_events_chains&) = delete;
    tpm_events_chains& operator=(const tpm_events_chains&) = delete;

    std::vector<std::uint8_t> log;
    std::array<tpm_event_chain, pcr_count> chains;  // by PCR
};

// Parses the log, which the chains take over on success. Results: internal_failure for an empty log or exhausted
// memory, invalid for an invalid log, io_failure when hashing fails; `out` is empty then. Reasons that have a text
// are reported; that of an empty log and of a failed hash is logged, and which PCR an oversized event is for.
result parse_tpm_log(std::vector<std::uint8_t> log, std::optional<tpm_events_chains>& out);

// The name of an event type, "EV_UNKNOWN_TYPE" for a type that has none.
const char* tpm_event_type_name(std::uint32_t type);

// Adds the type as a field: its name, or its number when it has none.
void add_event_type(finding_lines lines, const char* field, std::uint32_t type);

// Logs type, positions, digest and PCR value of an event at debug.
void print_tpm_log_event(const tpm_event& event);

// The locality that a Startup Locality event reports; nothing when the event is not one.
std::optional<std::uint8_t> startup_locality_of(const tpm_event& event);

// The first event for which the predicate holds, PCR 0 to 23 in order and each chain from its first event.
const tpm_event* find_tpm_log_event(const tpm_events_chains& chains, bool (*predicate)(const tpm_event&));

// Predicates for find_tpm_log_event.
bool is_seal_event(const tpm_event& event);
bool is_disk_measurement_event(const tpm_event& event);
bool is_gpt_event(const tpm_event& event);
bool is_separator_event(const tpm_event& event);    // PCR 5, by type
bool has_separator_digest(const tpm_event& event);  // PCR 5, by digest, whatever the type

}  // namespace vellum
