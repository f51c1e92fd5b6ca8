// Where a TPM event log comes from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/result.h"
#include "platform/tpm_library.h"
#include "tpm/event_log.h"

namespace vellum {

enum class live_log_source : std::uint32_t {
    this_boot = 0,
    system_root = 1,  // reserved: loading from it always fails
    file = 2,         // --tpm_event_log_file
};

// Loads and parses the log of a source; any other source value is treated as this boot. `tpm` is used for this boot
// only, `file_path` for a file only, where it must not be null. Reasons of a failure are reported, those of a wrong
// argument logged. Results: io_failure when the log of this boot cannot be retrieved, internal_failure for the
// reserved source and a missing path, else those of read_file and parse_tpm_log.
result load_tpm_log(tpm_library& tpm, live_log_source source, const std::string* file_path,
                    std::optional<tpm_events_chains>& out);

// Reads and parses a reference log; a failure reports its text and is invalid.
result load_reference_tpm_log(const std::string& file_path, std::optional<tpm_events_chains>& out);

// Writes where both logs came from, on console and in the file at info, then an empty line at brief.
void print_log_sources(live_log_source source, const std::string& live_path, const std::string& reference_path);

}  // namespace vellum
