// What the firmware says of feature and seal, in one answer.
#pragma once

#include "firmware/commands.h"
#include "firmware/feature_state.h"
#include "seal/seal_log.h"

namespace vellum {

// Asks the firmware and decodes its answer. Fails with the failure of the firmware channel or with invalid; the
// reason is reported, and the outputs are not to be used.
result retrieve_state(FirmwareCommandContext& context, feature_state_response& response, seal_log& log);

}  // namespace vellum
