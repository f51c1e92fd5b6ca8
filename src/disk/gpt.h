// GUID partition tables (UEFI, "GUID Partition Table (GPT) Disk Layout"): the copy that the firmware measured into
// the event log (UEFI_GPT_DATA), and the one at the start of the boot disk.
//
// Integers are little-endian, LBAs count logical sectors. The tables come from outside: counts and sizes are bounded
// and compared with what there is before anything is allocated. The backup table is not consulted.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "base/result.h"
#include "disk/gpt_layout.h"
#include "disk/partitions.h"
#include "platform/disk.h"

namespace vellum {

// All entries of a GPT event, labelled "EFI GPT Event". Fails with invalid, and says nothing, when the data is not
// exactly as long as its count asks for; `out` is empty then.
result build_gpt_partition_list(byte_view gpt_event_data, gpt_partitions& out);

// The partitions of the boot disk's own table, labelled "Disk GPT"; entries that are not in use are left out. Each
// failure reports its reason: io_failure when the disk does not answer, invalid for a table that is damaged or beyond
// what is supported. `out` is empty then.
result read_disk_gpt(disk& boot_disk, gpt_partitions& out);

// CRC-32 as the table uses it (polynomial 0x04C11DB7 reflected, initial value and final exclusive-or all ones).
// `previous` is the value of the bytes before, so that a sum can be formed in steps.
std::uint32_t crc32(byte_view data, std::uint32_t previous = 0);

}  // namespace vellum
