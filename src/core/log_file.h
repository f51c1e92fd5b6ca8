// The log file: opened for appending, written in blocks of whole lines, so that runs which share it do not tear each
// other's lines.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

#include "base/file_handle.h"
#include "base/result.h"

namespace vellum {

class log_file {
  public:
    // Creates the file if it is missing. Fails with io_failure, also for a FIFO, which blocks its writer when nobody
    // reads.
    result open(const char* path);

    bool is_open() const { return file_ != nullptr; }

    // Adds the pieces one after another. False, here and below, when the system no longer takes the file's bytes: it
    // is closed then, and what was not written is lost.
    [[nodiscard]] bool append(std::initializer_list<std::string_view> pieces);

    // Hands what is buffered to the system.
    [[nodiscard]] bool flush() { return write_out(buffer_.size()); }

  private:
    [[nodiscard]] bool write_out(std::size_t size);

    static constexpr std::size_t usual_full_size = std::size_t{256} * 1024;  // bytes

    file_handle file_;
    std::string buffer_;
    std::size_t full_size_ = usual_full_size;  // of the buffer
};

}  // namespace vellum
