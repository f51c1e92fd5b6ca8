// What can be wrong with a forged device, by name.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "lab/device.h"

namespace vellum::lab {

// A device with one of them does not pass, unless `says` calls it a warning (the report says so) or a remark (the
// report has a line about it, no stage more).
struct fault {
    const char* name;
    const char* says;            // what happened, for people
    void (*plan)(device_plan&);  // decided by the factory; null: nothing
    void (*since)(device&);      // happened since the device left the factory; null: nothing
};

std::vector<const fault*> all_faults();

// Null for a name that is not known.
const fault* find_fault(std::string_view name);

// By what they strike.
std::span<const fault> firmware_faults();
std::span<const fault> seal_faults();
std::span<const fault> boot_faults();
std::span<const fault> platform_faults();
std::span<const fault> pmf_faults();

// The firmware measures the seal log as it is now.
void measure_seal_log(device& made);

// The first event of a PCR and type in the boot's log, or null.
log_event* find_event(device& made, std::uint32_t pcr, std::uint32_t type);

}  // namespace vellum::lab
