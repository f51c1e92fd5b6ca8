// Which versions of the firmware feature this release works with.
#pragma once

#include "base/result.h"
#include "firmware/commands.h"

namespace vellum {

// Asks the firmware for its version and looks it up in the table of supported ones; the findings are reported. With
// `bypass` any version will do, and a note about that is reported. Results of get_version(); check_failed for a
// version that is not supported.
result check_version(FirmwareCommandContext& context, bool bypass);

}  // namespace vellum
