// Opens files that come from outside. Opening does not block, and it is the opened file that is asked what it is and
// where it lies: a name may stand for something else a moment later.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

#include "base/file_handle.h"
#include "base/os_status.h"

namespace vellum {

// Where something lies, every link followed.
struct file_place {
    std::string path;               // absolute, with the system's separators; empty when the system does not say
    std::uint64_t file_system = 0;  // the number by which the system tells its file systems apart
    std::uint64_t mount = 0;        // the same for where it has mounted them; 0 when it does not say
};

struct regular_file {
    file_handle handle;      // binary and unbuffered; a read that would block fails
    std::uint64_t size = 0;  // bytes, as the file system reports; kernel files report 4096 or 0
    file_place place;
};

struct [[nodiscard]] file_opening {
    enum outcome {
        done,
        missing,
        failed,       // it exists
        not_regular,  // a directory, a FIFO, a device, a socket
    };

    outcome how = done;
    os_status reason = os_status::success;  // of one that is missing or failed
};

// Opens the regular file for reading; `out` is unchanged when that fails.
file_opening open_regular_file(const std::string& path, regular_file& out);

// Reads as much as the buffer takes; less, which is no failure, only at the end of the file.
os_status read_block(const regular_file& file, std::span<std::uint8_t> buffer, std::size_t& got);

// What open_regular_file() needs of the system, which knows no `missing`; windows/ and linux/ implement it and the
// next four.
file_opening open_and_ask(const std::string& path, regular_file& out);

// Says that the file will soon be read, whole: the system may fetch it meanwhile, along with others of which this is
// said. What is no regular file is not touched.
void announce_reading(const std::string& path);

// Opens a file to write at its end, and makes one that is not there. False when that fails and for what is neither a
// regular file nor a character device; a write that would block fails.
[[nodiscard]] bool open_to_append(const std::string& path, file_handle& out);

// Writes the text, with the line ends of the system, in one step: what others append stands before or after it. False
// when not all of it is written.
[[nodiscard]] bool append_text(std::FILE& file, std::string_view text);

// Where a file of any kind or a directory lies.
os_status locate(const std::string& path, file_place& out);

// Whether it lies in the directory or in one below it.
bool lies_below(const file_place& place, const file_place& directory);

// Whether no other volume that is mounted between them parts the two.
bool share_volume(const file_place& one, const file_place& other);

}  // namespace vellum
