// Builds the firmware's responses, well-formed by default, with a knob for every field so that any of them can lie.
// The layouts are those of firmware/commands.h and firmware/feature_state.h.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "firmware/commands.h"

namespace vellum::lab {

struct response_header {
    std::uint32_t version = 1;
    std::optional<std::uint32_t> command;  // absent: the command that is answered
    std::optional<std::uint32_t> length;   // absent: the bytes after the header
    std::uint32_t status = 0;
};

struct version_builder {
    response_header header;
    std::uint8_t major = 1;
    std::uint8_t minor = 0;
};

struct file_builder {
    response_header header;
    std::vector<std::uint8_t> file;
    std::optional<std::uint16_t> file_length;  // the length that is claimed
};

// An active feature with an intact seal that protects chassis and BIOS, without seal signing.
struct feature_state_builder {
    response_header header;
    std::uint32_t feature_state = feature_state_active;
    std::uint16_t configuration = 0x0003;
    std::uint32_t seal_state = seal_state_intact;
    std::vector<std::uint8_t> hotkey;            // at most 64 bytes
    std::optional<std::uint32_t> hotkey_length;  // the length that is claimed
    std::uint32_t opt_out_interval = 0;          // seconds
    std::uint32_t reserved = 0;
    std::vector<std::uint8_t> signature;  // at most 1100 bytes
    std::vector<std::uint8_t> records;
    std::optional<std::uint16_t> records_size;  // the byte count that is claimed
    std::vector<std::uint8_t> trailing;         // after the records
};

struct deactivate_builder {
    response_header header;
};

std::vector<std::uint8_t> build(const version_builder& response);
std::vector<std::uint8_t> build(const file_builder& response);
std::vector<std::uint8_t> build(const feature_state_builder& response);
std::vector<std::uint8_t> build(const deactivate_builder& response);

}  // namespace vellum::lab
