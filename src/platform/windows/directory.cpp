#include "platform/windows/directory.h"

#include <windows.h>

#include <algorithm>
#include <memory>

#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

std::wstring pattern_of(const std::string& directory, std::string_view extension) {
    const bool separated = directory.find_last_of("\\/:") == directory.size() - 1;
    return wide_text(directory + (separated ? "*" : "\\*") + std::string(extension));
}

// The system's pattern also takes what only a file's short name matches ("a.crt-old" as "A~1.CRT").
bool ends_in(const std::wstring& name, const std::wstring& extension) {
    if (name.size() < extension.size()) {
        return false;
    }
    const int size = static_cast<int>(extension.size());
    const wchar_t* end = name.data() + (name.size() - extension.size());
    return ::CompareStringOrdinal(end, size, extension.data(), size, TRUE) == CSTR_EQUAL;
}

void take(const WIN32_FIND_DATAW& found, const std::wstring& extension, std::vector<directory_entry>& out) {
    const std::wstring name = found.cFileName;
    if (ends_in(name, extension)) {
        const std::uint64_t size = (std::uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow;
        out.push_back({narrow_text(name), (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, size});
    }
}

os_status find_all(const std::wstring& pattern, const std::wstring& extension, std::vector<directory_entry>& out) {
    WIN32_FIND_DATAW found{};
    const search_handle search(::FindFirstFileW(pattern.c_str(), &found));
    if (search.get() == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        return error == ERROR_FILE_NOT_FOUND ? os_status::success : os_status(error);
    }
    do {
        take(found, extension, out);
    } while (::FindNextFileW(search.get(), &found) != FALSE);
    const DWORD error = ::GetLastError();
    return error == ERROR_NO_MORE_FILES ? os_status::success : os_status(error);
}

}  // namespace

os_status windows_directory_listing::list(const std::string& directory, std::string_view extension,
                                          std::vector<directory_entry>& out) {
    out.clear();
    if (directory.empty()) {
        return os_status(ERROR_PATH_NOT_FOUND);
    }
    const os_status found = find_all(pattern_of(directory, extension), wide_text(extension), out);
    if (!ok(found)) {
        out.clear();
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return found;
}

}  // namespace vellum
