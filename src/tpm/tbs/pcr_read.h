// The TPM2_PCR_Read command and its response (TPM 2.0 Library, Part 3: Commands), big-endian, for the SHA-256 bank
// and eight PCRs at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "core/pcr.h"
#include "tpm/tbs/hresult.h"

namespace vellum {

inline constexpr std::size_t pcrs_per_read = 8;
inline constexpr std::size_t pcr_read_passes = pcr_count / pcrs_per_read;
inline constexpr std::size_t pcr_read_command_size = 20;     // bytes
inline constexpr std::size_t pcr_read_response_limit = 512;  // bytes

// The command that reads PCRs 8 * pass to 8 * pass + 7; the pass is 0, 1 or 2.
std::array<std::uint8_t, pcr_read_command_size> pcr_read_command(std::size_t pass);

// Takes the digests of the pass's response into `out`, digest j as PCR 8 * pass + j, and adds their bytes to
// `copied`, which counts over all passes. PCRs that the response has no digest for keep their value. A failure may
// have taken digests: invalid_argument when the response is cut short or holds more than all PCRs, failure when its
// own length is wrong, it carries an error or a digest does not fit its PCR.
hresult read_pcr_response(byte_view response, std::size_t pass, std::size_t& copied, pcr_value_list& out);

}  // namespace vellum
