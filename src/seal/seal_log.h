// The seal log: what happened to the device's seal since it was configured at manufacturing, in the order it
// happened.
//
// The firmware delivers it as a block of its state response: the seal state, fields that belong to others, the byte
// count of the records, and the records of 164 bytes each. Integers are little-endian, times are seconds since
// 1970-01-01 UTC. Everything is decoded once into copies; nothing points into the response.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"
#include "firmware/feature_state.h"

namespace vellum {

enum seal_event_id : std::uint32_t {
    SEAL_CONFIGURED = 1,
    SEAL_ENABLED = 2,
    SEAL_BROKEN = 3,
    SEAL_DISABLED = 4,
    SEAL_DISK_LOCK_REMOVAL = 5,
    SEAL_DISK_LOCK_NOT_PRESENT = 6,
    SEAL_DISK_LOCK_PASSWORD_RETRIEVED = 7,
};

// Bytes.
inline constexpr std::size_t seal_event_data_size = 156;
inline constexpr std::size_t seal_record_size = 164;

// Offsets from the block's start, bytes.
inline constexpr std::size_t seal_block_count_offset = seal_log_size_offset - seal_log_block_offset;  // 16-bit
inline constexpr std::size_t seal_block_records_offset = feature_state_fixed_size - seal_log_block_offset;

struct seal_record {
    std::uint32_t id = 0;  // a seal_event_id, or a value that has no meaning here
    std::uint32_t timestamp = 0;
    std::array<std::uint8_t, seal_event_data_size> data{};  // by event, see seal/seal_events.h
};

struct seal_log {
    std::uint32_t seal_state = 0;
    std::vector<seal_record> records;
    std::vector<std::uint8_t>
        record_bytes;  // as many as the block counts, a remainder behind the last record included
};

// Decodes the block. Fails with invalid and reports the reason when the fixed part or the counted bytes do not lie
// within it; `out` is empty then.
result read_seal_log(byte_view block, seal_log& out);

// The first or the last record of an event; null when there is none.
const seal_record* find_seal_event(const seal_log& log, std::uint32_t id);
const seal_record* find_last_seal_event(const seal_log& log, std::uint32_t id);

}  // namespace vellum
