// The response to FEATURE_GET_STATE, decoded once. All integers are little-endian; offsets count from the beginning
// of the message, its header of 16 bytes included:
//
//     16  feature state (32 bits)
//     20  seal configuration word (16 bits, see firmware/seal_config.h)
//     22  seal state (32 bits); the seal log block begins here and runs to the end
//     26  opt-out hotkey length in bytes (32 bits)
//     30  opt-out hotkey (64 bytes)
//     94  opt-out interval in seconds (32 bits)
//     98  reserved (4 bytes)
//    102  seal signature
//   1202  byte count of the seal log records (16 bits)
//   1204  seal log records
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"
#include "config/kxl_config.h"

namespace vellum {

// Offsets in bytes.
inline constexpr std::size_t feature_state_offset = 16;
inline constexpr std::size_t seal_log_block_offset = 22;
inline constexpr std::size_t seal_signature_offset = 102;
inline constexpr std::size_t seal_log_size_offset = 1202;
inline constexpr std::size_t feature_state_fixed_size = 1204;

inline constexpr std::size_t firmware_hotkey_size = 64;  // bytes

struct feature_state_response {
    std::vector<std::uint8_t> bytes;
    std::uint32_t feature_state = 0;
    std::uint16_t configuration = 0;  // SKY_PORT_CONFIGURATION
    std::uint32_t seal_state = 0;
    seal_configuration seal;  // the firmware's configuration in the shape of the expected one

    // Views into `bytes`; empty before parse_feature_state().
    byte_view seal_log_block() const;
    byte_view seal_signature() const;  // up to the byte count of the records
};

// Takes the whole response. One that is too short for its fixed fields or for the records it claims is reported and
// fails with transport_failure; `out` is unchanged then. A hotkey longer than its field is no failure: the claimed
// length stays, the bytes are those of the field.
result parse_feature_state(std::vector<std::uint8_t> response, feature_state_response& out);

}  // namespace vellum
