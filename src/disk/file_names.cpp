#include "disk/file_names.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <type_traits>

#include "base/path.h"
#include "base/text.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

bool is_listed_as(const fs::path& name, std::string_view component) {
    const auto same_letter = [](auto unit, char c) {
        const auto code = static_cast<std::make_unsigned_t<decltype(unit)>>(unit);
        return code < 0x80 && to_upper(static_cast<char>(code)) == to_upper(c);
    };
    const auto& units = name.native();
    return std::equal(units.begin(), units.end(), component.begin(), component.end(), same_letter);
}

std::string spelling_in(const fs::path& directory, std::string_view component) {
    std::error_code error;
    std::string as_asked(component);
    if (fs::exists(fs::symlink_status(directory / path_of(component), error))) {
        return as_asked;
    }
    std::string found;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path name = entry->path().filename();
        if (is_listed_as(name, component) && (found.empty() || text_of(name) < found)) {
            found = text_of(name);
        }
    }
    return found.empty() ? as_asked : found;
}

}  // namespace

std::string spelling_on_volume(const std::string& root, const std::string& path) {
    fs::path directory = path_of(root + "/");
    std::string spelling;
    std::string_view rest = path;
    while (!rest.empty()) {
        const std::string_view component = take_until(rest, '/');
        std::error_code error;
        const bool listable = spelling.empty() || fs::is_directory(fs::symlink_status(directory, error));
        const std::string name = listable ? spelling_in(directory, component) : std::string(component);
        directory /= path_of(name);
        spelling += (spelling.empty() ? "" : "/") + name;
    }
    return spelling;
}

}  // namespace vellum
