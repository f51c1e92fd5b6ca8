// The SHA-256 of a BOM file on a volume.
#pragma once

#include <string>

#include "base/result.h"
#include "core/digest.h"
#include "platform/disk.h"

namespace vellum {

// Hashes the regular file `path` (components joined by "/") below the volume's root, block by block. Links are
// followed as long as they stay below the root; letter case counts as it does on the volume. What fails reports its
// reason and is invalid: a file that is missing, no regular file, outside the volume or on one that is mounted in it,
// too large, or not readable; io_failure when hashing fails.
result hash_bom_file(const disk_volume& volume, const std::string& path, sha256_value& out);

}  // namespace vellum
