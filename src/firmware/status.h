// What is known about the firmware operation in progress, the names of the firmware's codes, and the report of a
// failed command.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vellum {

class firmware_link;

struct firmware_version {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
};

// Kept for one run and shared by everything that talks to the firmware.
struct FirmwareCommandContext {
    firmware_link* link = nullptr;            // what the commands go through; null or closed: they fail
    std::string operation;                    // what uses the firmware; begins the failure report
    const char* call = "UNKNOWN_OPERATION";   // the phrase of the firmware call in progress
    std::optional<firmware_version> version;  // from the last GET_VERSION
    std::uint32_t feature_state = 0;          // from the last FEATURE_GET_STATE, like the next
    std::uint32_t seal_state = 0;
    std::uint32_t status = 0;              // of the last command when it was not successful
    std::uint32_t unexpected_command = 0;  // of the last response when it answers another command
    std::string common_error_reasons;      // may be empty
};

inline constexpr std::uint32_t feature_state_inactive = 0;
inline constexpr std::uint32_t feature_state_configured = 1;
inline constexpr std::uint32_t feature_state_active = 2;

inline constexpr std::uint32_t seal_state_disabled = 0;
inline constexpr std::uint32_t seal_state_intact = 1;
inline constexpr std::uint32_t seal_state_broken = 2;

inline constexpr std::uint32_t SKY_PORT_STATUS_SUCCESS = 0;
inline constexpr std::uint32_t SKY_PORT_STATUS_INTERNAL_ERROR = 2;

// "UNKNOWN_STATUS" for a value that has no name.
const char* firmware_status_name(std::uint32_t status);

// Short names; "Unknown" for a value that has none.
const char* feature_state_name(std::uint32_t state);
const char* seal_state_name(std::uint32_t state);

// Both states in the words of the failure reports, such as "ACTIVE and the Seal is INTACT".
const char* combined_state_description(std::uint32_t feature_state, std::uint32_t seal_state);

// Reports why the operation failed, as far as the firmware said it.
void report_firmware_failure(const FirmwareCommandContext& context);

}  // namespace vellum
