// Between the program's texts, which are UTF-8, and the paths of the file system library, which takes a plain text
// for one of the C locale on some systems.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vellum {

inline std::filesystem::path path_of(std::string_view text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

inline std::string text_of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// The path of what has this name in the directory.
inline std::string path_in(const std::string& directory, const std::string& name) {
    const bool separated = directory.ends_with('/') || directory.ends_with('\\');
    return directory + (separated ? "" : "/") + name;
}

// The path up to its last separator, which is part of it; empty for a mere name.
inline std::string directory_of(const std::string& path) {
    return path.substr(0, path.find_last_of("/\\") + 1);
}

// By the rules of every system, as a configuration may have been written on another one.
inline bool is_absolute_somewhere(std::string_view path) {
    return path.starts_with('/') || path.starts_with('\\') || (path.size() > 1 && path[1] == ':');
}

// A path that a file names, as one that begins in the file's directory.
inline std::string path_beside(const std::string& file, const std::string& path) {
    return path.empty() || is_absolute_somewhere(path) ? path : directory_of(file) + path;
}

}  // namespace vellum
