// What the records of the seal log mean: names, counters and other event data, and their printed form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "seal/seal_log.h"

namespace vellum {

inline constexpr std::uint32_t seal_broken_disk_unlocked = 9;  // reason: the disk was found unlocked on first boot

// "Unknown Event", "Unknown reason" and "Unknown status" for a value that has no name.
const char* seal_event_name(std::uint32_t id);
const char* seal_broken_reason_text(std::uint32_t reason);
const char* seal_disabled_status_text(std::uint8_t status);

struct seal_counters {
    std::uint8_t boot = 0;
    std::uint8_t execution = 0;
};

// The counters of a record; nothing for an event that carries none.
std::optional<seal_counters> counters_of(const seal_record& record);

// Event data of a Seal Configured record.
std::uint32_t seal_instance_id(const seal_record& configured);

// Event data of a Seal Broken record.
std::uint32_t seal_broken_reason(const seal_record& broken);

// The record's time as text, UTC.
std::string seal_time_text(const seal_record& record);

// What the event's data says, in parentheses; empty for an event that has none to tell.
std::string describe_seal_event(const seal_record& record);

// Logs the count and every record at debug, the event data at trace.
void print_seal_log(const seal_log& log);

// Raises the reason of each Seal Broken record, or that there is no such record.
void print_seal_broken_reasons(const seal_log& log);

}  // namespace vellum
