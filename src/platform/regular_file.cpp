#include "platform/regular_file.h"

#include <filesystem>

#include "base/path.h"
#include "platform/last_status.h"

namespace vellum {

namespace fs = std::filesystem;

// A device may act on being opened, so names are asked first. A file whose kind cannot be told is left to the system
// to refuse, so that its error says why.
file_opening open_regular_file(const std::string& path, regular_file& out) {
    std::error_code error;
    const fs::file_status status = fs::status(path_of(path), error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        return {file_opening::not_regular};
    }
    file_opening opened = open_and_ask(path, out);
    if (opened.how == file_opening::failed && status.type() == fs::file_type::not_found) {
        opened.how = file_opening::missing;
    }
    return opened;
}

os_status read_block(const regular_file& file, std::span<std::uint8_t> buffer, std::size_t& got) {
    got = std::fread(buffer.data(), 1, buffer.size(), file.handle.get());
    return std::ferror(file.handle.get()) != 0 ? last_status() : os_status::success;
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
