// Whole-file reads of untrusted files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/result.h"

namespace vellum {

// Reads the file to its end, whatever size the file system reports (kernel files report 0). A file that cannot be
// opened or read pushes "Cannot open file ..." or "Cannot read file ..." with the system's error text, one of more
// than `limit` bytes pushes its own text; both name the file and fail with invalid, and `out` is empty then.
result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out);

// The same for files that may be missing or damaged without harm: pushes nothing; `reason` says why it failed.
result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out, std::string& reason);

}  // namespace vellum
