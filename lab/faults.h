// What can be wrong with a forged device, by name.
#pragma once

#include <span>
#include <string_view>

#include "lab/device.h"

namespace vellum::lab {

struct fault {
    const char* name;
    const char* says;            // what happened, for people
    void (*plan)(device_plan&);  // decided by the factory; null: nothing
    void (*since)(device&);      // happened since the device left the factory; null: nothing
};

std::span<const fault> all_faults();

// Null for a name that is not known.
const fault* find_fault(std::string_view name);

}  // namespace vellum::lab
