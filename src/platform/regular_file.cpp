#include "platform/regular_file.h"

#include <filesystem>

#include "base/path.h"

namespace vellum {

namespace fs = std::filesystem;

// A device may act on being opened, so names are asked first. A file whose kind cannot be told is left to the system
// to refuse, so that its last error says why.
file_open open_regular_file(const std::string& path, regular_file& out) {
    std::error_code error;
    const fs::file_status status = fs::status(path_of(path), error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        return file_open::not_regular;
    }
    const file_open outcome = open_and_ask(path, out);
    const bool missing = outcome == file_open::failed && status.type() == fs::file_type::not_found;
    return missing ? file_open::missing : outcome;
}

bool lies_below(const file_place& place, const file_place& directory) {
    constexpr auto separator = static_cast<char>(fs::path::preferred_separator);
    const std::string& root = directory.path;
    return !root.empty() && place.path.starts_with(root) &&
           (place.path.size() == root.size() || root.back() == separator || place.path[root.size()] == separator);
}

// File systems that lie in layers on others, and those that keep volumes of their own, number a file otherwise than
// its directory though nothing is mounted between them.
bool share_volume(const file_place& one, const file_place& other) {
    return one.file_system == other.file_system || (one.mount != 0 && one.mount == other.mount);
}

}  // namespace vellum
