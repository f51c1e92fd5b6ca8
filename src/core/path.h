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

}  // namespace vellum
