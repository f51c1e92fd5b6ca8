// Writes files that appear whole or not at all; windows/ and linux/ implement it.
#pragma once

#include <string>
#include <string_view>

#include "base/os_status.h"

namespace vellum {

struct [[nodiscard]] file_writing {
    enum outcome {
        done,
        not_replaced,  // a link, a directory or anything else that is no regular file stands there
        failed,
    };

    outcome how = done;
    os_status reason = os_status::success;  // of one that failed
};

// Writes the text, as it is, beside the path and moves it there once it is whole; a file that is there is
// replaced, and stays what it was when that fails. Its owner may write it and its group may read it (on Windows those
// whom the directory names).
file_writing write_whole_file(const std::string& path, std::string_view text);

}  // namespace vellum
