// Sizes within a GUID partition table and within UEFI_GPT_DATA, the form in which the firmware measures it: the GPT
// header, the number of partitions (8 bytes), the partition entries. In bytes.
#pragma once

#include <cstddef>

namespace vellum {

inline constexpr std::size_t gpt_header_size = 92;
inline constexpr std::size_t gpt_event_fixed_size = gpt_header_size + 8;
inline constexpr std::size_t gpt_entry_size = 128;

}  // namespace vellum
