// The disk measurements of the PMF against the boot disk: its list of partitions, and the BOM file of each partition
// that is measured by one.
#pragma once

#include "core/stage.h"
#include "disk/partitions.h"
#include "platform/disk.h"
#include "pmf/format.h"

namespace vellum {

// The check of the stage. It compares the PMF's partitions with the boot disk's own GPT, in which no two may share a
// sector; then, for each partition whose measurement is BOM_PROVIDED, it finds the volume with exactly the
// partition's extent and compares the SHA-256 of the BOM file there with the partition's hash. Both are carried out
// in full; every difference is reported and fails the check. A location whose drive letter is not the volume's is a
// warning when that is allowed, and the file of the volume with the partition's extent counts. `table` is the disk's
// own table, empty where it cannot be read.
stage_outcome check_disk_measurements(disk& boot_disk, const PMF::DiskMetadataFileExtension& pmf,
                                      bool letter_mismatch_allowed, gpt_partitions& table);

}  // namespace vellum
