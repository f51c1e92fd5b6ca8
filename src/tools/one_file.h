// Whether two names are of one file, which what is written under the one would replace for the other.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "base/path.h"

namespace vellum {

// Where the path leads, so far as it is there.
inline std::filesystem::path whole_path(const std::string& text) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path_of(text), error);
    const std::filesystem::path path = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : path;
}

// Neither has to be there.
inline bool is_one_file(const std::string& left, const std::string& right) {
    std::error_code error;
    return std::filesystem::equivalent(path_of(left), path_of(right), error) || whole_path(left) == whole_path(right);
}

}  // namespace vellum
