// vellum-lab forge: makes a sealed device, whole or with a fault.
#pragma once

#include <span>

namespace vellum::lab {

// DIR [--level TL1|TL3] [--device-id SOURCE] [--ironwall on|off] [--seal-signing on|off] [--pmf-signing on|off]
// [--fault NAME]..., or --list-faults [WORD]. Returns the exit code: 0, 1 when the device cannot be written or no
// fault has the word, 3 for arguments that are not understood.
int forge(std::span<char* const> words);

}  // namespace vellum::lab
