// A TPM that knows one command: answers TPM2_PCR_Read (TPM 2.0 Library, Part 3: Commands) for the SHA-256 bank.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/bytes.h"

namespace vellum {

using recorded_pcrs = std::array<std::array<std::uint8_t, 32>, 24>;  // PCR i at position i

// The whole response, big-endian: the first eight of the selected PCRs, or the error that a TPM gives for a command
// that it cannot carry out.
std::vector<std::uint8_t> answer_pcr_read(byte_view command, const recorded_pcrs& pcrs);

}  // namespace vellum
