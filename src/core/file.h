// Whole-file reads of untrusted files, and what is said when they fail. Only regular files are read
// (platform/bounded_file.h): a FIFO or a device given as a file is refused before it is opened.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/result.h"
#include "platform/bounded_file.h"

namespace vellum {

// Reads the file to its end, whatever size the file system reports (kernel files report 0). A file that cannot be
// opened or read raises "Cannot open file ..." or "Cannot read file ..." with the system's error text; one that is
// not regular, or of more than `limit` bytes, raises its own text. All name the file and fail with invalid; `out` is
// empty then. Exhausted memory is internal_failure.
result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out);

// The same for files that may be missing or damaged without harm: raises nothing; `reason` says why it failed.
result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out, std::string& reason);

// What read_file() raises and yields for the outcome of read_bounded(), for callers that say of some outcomes
// something of their own.
result report_read(const file_read& read, const std::string& path, std::uint64_t limit);

}  // namespace vellum
