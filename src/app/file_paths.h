// The paths of files that may differ from device to device: tokens in them stand for the Device ID.
#pragma once

#include <optional>
#include <string>

#include "app/validation_state.h"
#include "core/result.h"

namespace vellum {

// Replaces the tokens in every such path of the state. SMBIOS is read only when a token asks for it. Fails with
// invalid or internal_failure; the reason is pushed.
result resolve_file_paths(const std::optional<std::string>& external_device_id, validation_state& state);

}  // namespace vellum
