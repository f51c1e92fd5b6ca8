#include "core/log_file.h"

#include "platform/regular_file.h"

namespace vellum {

result log_file::open(const char* path) {
    if (!open_to_append(path, file_)) {
        return result::io_failure;
    }
    buffer_.reserve(usual_full_size + usual_full_size / 8);
    return result::success;
}

bool log_file::append(std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        buffer_.append(piece);
    }
    if (buffer_.size() < full_size_) {
        return true;
    }
    // A line that is longer than the buffer waits for its end.
    const std::size_t whole_lines = buffer_.rfind('\n') + 1;
    full_size_ = whole_lines == 0 ? 2 * buffer_.size() : usual_full_size;
    return write_out(whole_lines);
}

bool log_file::write_out(std::size_t size) {
    if (!file_ || size == 0) {
        return true;
    }
    const bool written = append_text(*file_, std::string_view(buffer_).substr(0, size));
    buffer_.erase(0, size);
    if (!written) {
        buffer_.clear();
        file_.reset();
    }
    return written;
}

}  // namespace vellum
