// Whole-file reads for the services: silent, bounded, and of regular files only, so that no read can block.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vellum {

enum class file_read {
    done,
    missing,
    unreadable,  // not a regular file, or the system refuses it
    too_large,
};

// Reads the file to its end, whatever size the file system reports (kernel files report 4096 or 0). `out` is empty
// when the file is not read, or is larger than `limit` bytes.
file_read read_bounded(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out);

// The same for text.
file_read read_bounded(const std::string& path, std::uint64_t limit, std::string& out);

}  // namespace vellum
