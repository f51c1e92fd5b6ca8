#include "platform/request_folder.h"

#include <windows.h>

#include <algorithm>

#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace vellum {

// While the handle is open, which grants nobody the right to delete, neither the folder nor one above it can be
// renamed, so that its path goes on meaning it.
struct request_folder {
    handle file;
    std::wstring path;
};

namespace {

constexpr DWORD beside_others = FILE_SHARE_READ | FILE_SHARE_WRITE;

bool is_link(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool is_folder(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Of what was opened, not of what has its name by now.
DWORD attributes_of(const handle& file) {
    BY_HANDLE_FILE_INFORMATION information{};
    const bool known = ::GetFileInformationByHandle(file.get(), &information) != FALSE;
    return known ? information.dwFileAttributes : INVALID_FILE_ATTRIBUTES;
}

handle open_folder(const std::wstring& path, DWORD access) {
    return handle(::CreateFileW(path.c_str(), access, beside_others, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

[[nodiscard]] bool write_all(void* file, byte_view rest) {
    while (!rest.empty()) {
        const auto size = static_cast<DWORD>(std::min<std::size_t>(rest.size(), MAXDWORD));
        DWORD written = 0;
        if (::WriteFile(file, rest.data(), size, &written, nullptr) == FALSE || written == 0) {
            return false;
        }
        rest = rest.subspan(written);
    }
    return true;
}

}  // namespace

folder_opening open_request_folder(const std::string& parent, const char* name,
                                   std::shared_ptr<request_folder>& out) {
    out.reset();
    std::wstring path = wide_text(parent + "/" + name);
    if (!is_folder(::GetFileAttributesW(path.c_str()))) {
        return folder_opening::missing;
    }
    const handle above = open_folder(wide_text(parent), FILE_LIST_DIRECTORY);
    handle folder = open_folder(path, FILE_LIST_DIRECTORY | FILE_ADD_FILE);
    if (!above.valid() || !folder.valid()) {
        return folder_opening::closed;
    }
    if (is_link(attributes_of(above)) || is_link(attributes_of(folder))) {
        return folder_opening::linked;
    }
    out = std::make_shared<request_folder>(request_folder{std::move(folder), std::move(path)});
    return folder_opening::done;
}

bool each_name(const request_folder& folder, const std::function<void(std::string_view)>& take) {
    WIN32_FIND_DATAW found{};
    const search_handle search(::FindFirstFileW((folder.path + L"/*").c_str(), &found));
    if (search.get() == INVALID_HANDLE_VALUE) {
        return ::GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    do {
        take(narrow_text(found.cFileName));
    } while (::FindNextFileW(search.get(), &found) != FALSE);
    return ::GetLastError() == ERROR_NO_MORE_FILES;
}

request_keeping keep_request(const request_folder& folder, const std::string& name, byte_view content) {
    const std::wstring path = folder.path + L"/" + wide_text(name);
    handle file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file.valid()) {
        const DWORD error = ::GetLastError();
        return error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS ? request_keeping::name_taken
                                                                           : request_keeping::failed;
    }
    const bool written = write_all(file.get(), content);
    return file.close() && written ? request_keeping::done : request_keeping::failed;
}

}  // namespace vellum
