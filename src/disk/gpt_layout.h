// The layout of a GUID partition table and of UEFI_GPT_DATA, the form in which the firmware measures it: the GPT
// header, the number of partitions (8 bytes), the partition entries. Sizes and offsets in bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vellum {

inline constexpr std::string_view gpt_signature = "EFI PART";  // begins the header
inline constexpr std::uint64_t gpt_header_lba = 1;
inline constexpr std::size_t gpt_header_size = 92;
inline constexpr std::size_t gpt_entries_lba_offset = 72;  // in the header, 8 bytes; then the entries' count and size
inline constexpr std::size_t gpt_event_fixed_size = gpt_header_size + 8;
inline constexpr std::size_t gpt_entry_size = 128;

}  // namespace vellum
