// vellum-lab seal: makes a sealed device of a recorded machine.
#pragma once

#include <span>

namespace vellum::lab {

// RECORDING DIR [--level TL1|TL3] [--device-id SOURCE] [--external-device-id ID] [--ironwall on|off]
// [--seal-signing on|off] [--pmf-signing on|off] [--bom LETTER:PATH]... [--pcrs LIST] [--day DATE] [--expire DATE]
// [--key FILE --certificate FILE] [--seal-key FILE].
// Returns the exit code: 0, 1 when the recording lacks something or the device cannot be written, 3 for arguments
// that are not understood.
int seal_command(std::span<char* const> words);

}  // namespace vellum::lab
