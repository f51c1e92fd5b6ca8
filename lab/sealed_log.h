// The event log of a recorded boot as the firmware writes it from the boot on that measures the seal.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "lab/event_log_builder.h"

namespace vellum::lab {

// Puts the event directly before the separator of PCR 5, with a digest for each bank of the log. A seal that the log
// has there is left out: the firmware measures one. All other bytes stay as they are. Returns what the log lacks or
// has too much, as the end of a sentence about it; `out` is not to be used then. Empty: done.
std::string measure_before_separator(byte_view log, const log_event& event, std::vector<std::uint8_t>& out);

}  // namespace vellum::lab
