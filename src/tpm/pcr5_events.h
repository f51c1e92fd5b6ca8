// The events of PCR[5] that a sealed device measures: where they stand in the log, whether they are genuine, and the
// data that they carry. Everything here views the log of the chains.
//
// The seal event is UEFI variable data, the GPT event is UEFI GPT data (TCG PC Client Platform Firmware Profile,
// UEFI_VARIABLE_DATA and UEFI_GPT_DATA), little-endian. Findings are reported.
#pragma once

#include <cstddef>

#include "base/bytes.h"
#include "tpm/event_log.h"

namespace vellum {

// Seal data, counted in bytes from its start.
inline constexpr std::size_t seal_configuration_offset = 0;  // the seal configuration record at sealing time
inline constexpr std::size_t seal_configuration_size = 10;
inline constexpr std::size_t seal_log_hash_offset = 10;  // SHA-256 of the seal log's records, then 32 zero bytes
inline constexpr std::size_t seal_log_hash_size = 64;
inline constexpr std::size_t min_seal_data_size = seal_log_hash_offset + seal_log_hash_size;

// The seal data in the value of the seal event's variable; empty for a value that is too short for it.
byte_view seal_data_of(byte_view variable_data);

// What was found and has passed its checks so far; null and empty for the rest.
struct pcr5_events {
    const tpm_event* separator_by_type = nullptr;
    const tpm_event* separator_by_digest = nullptr;  // whatever its type
    const tpm_event* seal = nullptr;
    const tpm_event* disk_measurement = nullptr;  // optional
    const tpm_event* gpt = nullptr;
    byte_view seal_data;  // at least min_seal_data_size, once accepted
    byte_view gpt_data;   // header, count and exactly as many entries, once accepted
};

// Fills the references, each with the first match. True when all but the optional one were found.
[[nodiscard]] bool find_pcr5_events(const tpm_events_chains& chains, pcr5_events& out);

// True when each event that is there passes its digest check; one that fails is forgotten.
[[nodiscard]] bool check_pcr5_event_digests(pcr5_events& events);

// True when the event is there and its data has the size that it should have; the data is accepted then.
[[nodiscard]] bool check_seal_event_data(pcr5_events& events);
[[nodiscard]] bool check_gpt_event_data(pcr5_events& events);

// The 10 bytes of the seal configuration record in accepted seal data; empty for data that is too short.
byte_view sealed_configuration(byte_view seal_data);

}  // namespace vellum
