#include "platform/linux/directory.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace vellum {
namespace {

namespace fs = std::filesystem;

// A link counts as what it leads to; one that leads nowhere is an empty file, and reading it will say why.
directory_entry describe(const fs::directory_entry& found, std::string name) {
    directory_entry entry;
    entry.name = std::move(name);
    std::error_code ignored;
    entry.is_directory = found.is_directory(ignored);
    if (found.is_regular_file(ignored)) {
        const std::uintmax_t size = found.file_size(ignored);
        entry.size = ignored ? 0 : size;
    }
    return entry;
}

}  // namespace

os_status linux_directory_listing::list(const std::string& directory, std::string_view extension,
                                        std::vector<directory_entry>& out) {
    out.clear();
    std::error_code error;
    for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
        std::string name = at->path().filename().string();
        if (name.ends_with(extension)) {
            out.push_back(describe(*at, std::move(name)));
        }
    }
    if (error) {
        out.clear();
        return os_status(static_cast<std::uint32_t>(error.value()));
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return os_status::success;
}

}  // namespace vellum
