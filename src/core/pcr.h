// The platform configuration registers (PCRs) of a TPM 2.0: the SHA-256 values of all of them, and sets of them as
// masks, in which bit i stands for PCR i.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/digest.h"

namespace vellum {

inline constexpr std::size_t pcr_count = 24;
inline constexpr std::uint32_t all_pcrs = (1U << pcr_count) - 1;

// Those of a dynamic launch, which reset to ones at power on.
inline constexpr std::uint32_t first_launch_pcr = 17;
inline constexpr std::uint32_t last_launch_pcr = 22;

using pcr_value = sha256_value;
using pcr_value_list = std::array<pcr_value, pcr_count>;  // PCR i at position i

// The numbers of the PCRs that the mask selects, in ascending order; bits that stand for no PCR are left out.
std::string pcr_mask_text(std::uint32_t mask, std::string_view separator);

}  // namespace vellum
