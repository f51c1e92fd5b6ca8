// The options with which forge and seal are told what the factory decides.
#pragma once

#include <string_view>

#include "lab/device.h"
#include "tools/arguments.h"

namespace vellum::lab {

// Each refers to what it sets.
option level_option(device_plan& plan);
option device_id_option(device_plan& plan);
option switch_option(std::string_view name, bool& value);

// Why no device can be made so that passes, with what can be done about it; empty: one can.
std::string_view contradiction_of(const device_plan& plan);

}  // namespace vellum::lab
