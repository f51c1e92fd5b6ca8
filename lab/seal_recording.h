// Seals a recorded machine: makes what the factory and the firmware would have made on it, around the recording.
//
// A recording comes from outside and may hold anything; nothing is made of one that lacks what a seal needs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "disk/bom_location.h"
#include "lab/device.h"
#include "platform/platform.h"

namespace vellum::lab {

// What the firmware has to measure, and the same as text for people and scripts.
inline constexpr const char* seal_event_file = "seal_event.bin";
inline constexpr const char* seal_event_description = "seal_event.txt";

struct seal_request {
    std::string recording;
    std::string directory;  // of the sealed device
    device_plan plan;
    std::optional<bool> ironwall;  // absent: as the TPM was started in the recorded boot
    std::vector<bom_location> boms;
    std::optional<std::string> external_device_id;  // of a source that takes one
    signing_files keys;
    std::optional<calendar_day> day;       // of the seal; absent: the recording's clock
    std::optional<calendar_day> last_day;  // of the PMF; absent: the last of the second year after the seal
};

// Writes the sealed device into the directory, which is made if it is missing and must be empty. Its validation is
// part of the making. Returns why it was not made, as a sentence; reasons beneath it are findings then, and nothing
// is left in the directory. Empty: made. Logging must have been started.
std::string seal_recording(const platform& machine, const seal_request& request);

}  // namespace vellum::lab
