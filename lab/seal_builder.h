// Builds seal logs as the firmware delivers them, and the seal data and seal signature that go with them: well-formed
// by default, with a knob for every field so that any of them can lie.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/bytes.h"

namespace vellum::lab {

struct seal_event {
    std::uint32_t id = 0;
    std::uint32_t timestamp = 0;
    std::vector<std::uint8_t> data;  // filled up with zeros to 156 bytes
};

// The seal data are bytes 4 and up of the event's data.
seal_event seal_configured(std::uint32_t timestamp, std::uint32_t instance_id, byte_view seal_data = {});
seal_event seal_enabled(std::uint32_t timestamp);
seal_event seal_broken(std::uint32_t timestamp, std::uint32_t reason, std::uint8_t boot, std::uint8_t execution);
seal_event seal_disabled(std::uint32_t timestamp, std::uint8_t post_boot, std::uint8_t status,
                         byte_view log_data = {});
seal_event disk_lock_removal(std::uint32_t timestamp, std::uint8_t boot, std::uint8_t execution);
seal_event disk_lock_not_present(std::uint32_t timestamp, std::uint8_t boot, std::uint8_t execution);
seal_event disk_lock_password_retrieved(std::uint32_t timestamp, std::uint8_t boot_stage, std::uint8_t boot,
                                        std::uint8_t execution);

std::vector<std::uint8_t> build(const std::vector<seal_event>& events);

// The block of the firmware's state response that begins with the seal state.
struct seal_log {
    std::uint32_t seal_state = 1;
    std::vector<seal_event> events;
    std::vector<std::uint8_t> signature;      // at its place in the block
    std::vector<std::uint8_t> trailing;       // behind the records
    std::optional<std::uint16_t> byte_count;  // the count that is claimed; absent: records and trailing bytes
};

std::vector<std::uint8_t> build(const seal_log& log);

}  // namespace vellum::lab
