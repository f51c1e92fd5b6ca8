// The paths of files that may differ from device to device: tokens in them stand for the Device ID.
#pragma once

#include <optional>
#include <string>

#include "app/command_line.h"
#include "app/validation_state.h"
#include "base/result.h"

namespace vellum {

// Takes the options, and the paths of the files that they name; a live log that is named is read from its file.
void take_options(const command_options& options, validation_state& state);

// Replaces the tokens in every such path of the state. SMBIOS is read only when a token asks for it. Fails with
// invalid or internal_failure; the reason is reported.
result resolve_file_paths(const std::optional<std::string>& external_device_id, validation_state& state);

// The paths of a configuration file that lies in a recording's directory begin there, so that the recording can be
// moved; those of any other one begin where the program was started, as do paths on the command line. Called when the
// paths have been resolved.
void place_configured_files(const command_options& options, validation_state& state);

}  // namespace vellum
