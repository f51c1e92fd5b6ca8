// Builds the events that a sealed device measures into PCR[5], well-formed by default, with a knob for every field.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "core/pcr.h"
#include "lab/event_log_builder.h"
#include "lab/gpt_builder.h"

namespace vellum::lab {

inline constexpr guid seal_event_guid = {0x5A, 0x4A, 0xA3, 0x16, 0x6A, 0xF1, 0x4A, 0x45,
                                         0x8F, 0x23, 0xBA, 0xA5, 0x87, 0x86, 0xBE, 0xAC};
inline constexpr guid disk_measurement_event_guid = {0xB3, 0x44, 0xDB, 0x07, 0xDC, 0x85, 0xC5, 0x46,
                                                     0xB0, 0x38, 0x82, 0x73, 0xB7, 0xAE, 0x75, 0xBC};

// UEFI_VARIABLE_DATA that carries the seal. The disk measurement event is one with its own GUID.
struct seal_measurement {
    guid vendor = seal_event_guid;
    std::string name = "KvrSeal";
    std::vector<std::uint8_t> before_seal_data = std::vector<std::uint8_t>(17);
    std::array<std::uint8_t, 10> configuration{};
    std::vector<std::uint8_t> seal_log_hash = std::vector<std::uint8_t>(64);
    std::vector<std::uint8_t> tail;                   // of the variable's data
    std::optional<std::uint64_t> name_length;         // in UTF-16 units, as claimed
    std::optional<std::uint64_t> data_length;         // in bytes, as claimed
    std::optional<std::vector<std::uint8_t>> digest;  // SHA-256, as claimed
};

// The GPT event: the table in the form in which the firmware measures it.
struct gpt_measurement {
    gpt_table table;
    std::size_t cut = 0;  // bytes missing at the end
    std::vector<std::uint8_t> tail;
    std::optional<std::vector<std::uint8_t>> digest;  // SHA-256, as claimed
};

log_event build(const seal_measurement& event);
log_event build(const gpt_measurement& event);

// The seal log hash as the firmware measures it: the SHA-256 of the records and 32 zero bytes.
std::vector<std::uint8_t> seal_log_hash(byte_view records);

// The values that a TPM has after the boot that wrote this log.
pcr_value_list pcr_values_after(const event_log& log);

// The same as the content of a recorded device's file of PCRs.
std::vector<std::uint8_t> pcrs_file(const pcr_value_list& values);

}  // namespace vellum::lab
