// The one way in which files get into memory: silent, bounded, and of regular files only, so that no read can block
// or go on for ever (platform/regular_file.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/regular_file.h"

namespace vellum {

struct [[nodiscard]] file_read {
    enum outcome {
        done,
        missing,
        not_opened,   // it exists
        unreadable,   // it was opened
        not_regular,  // a directory, a FIFO, a device, a socket
        outside,      // a link leads out of the directory that it has to stay in
        too_large,
        no_memory,
    };

    outcome how = done;
    os_status reason = os_status::success;  // of one that is missing, not opened or unreadable
};

constexpr bool ok(const file_read& read) {
    return read.how == file_read::done;
}

// Reads the file to its end, whatever size the file system reports (kernel files report 4096 or 0). `out` is empty
// unless the file was read whole; larger than `limit` bytes it is not.
file_read read_bounded(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out);

// The same for text.
file_read read_bounded(const std::string& path, std::uint64_t limit, std::string& out);

// The same for a file that has to lie in the directory or below it, every link followed.
file_read read_bounded_in(const file_place& directory, const std::string& path, std::uint64_t limit,
                          std::vector<std::uint8_t>& out);
file_read read_bounded_in(const file_place& directory, const std::string& path, std::uint64_t limit,
                          std::string& out);

// Reads no more than the first `size` bytes of a file that may have any size.
file_read read_beginning(const std::string& path, std::size_t size, std::string& out);

}  // namespace vellum
