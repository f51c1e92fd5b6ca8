// Events of every layout that is decoded, well-formed.
#pragma once

#include <vector>

#include "lab/event_log_builder.h"

namespace vellum::fuzz {

std::vector<lab::log_event> event_seeds();

}  // namespace vellum::fuzz
