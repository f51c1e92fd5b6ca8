#include "platform/whole_file.h"

#include <windows.h>

#include <algorithm>

#include "platform/last_status.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

constexpr int most_names = 100;  // of others that write the same file at this moment

// The name is new, so that nobody has put a link there.
handle create_beside(const std::wstring& path, std::wstring& name) {
    for (int i = 0; i < most_names; ++i) {
        name = path + L"." + std::to_wstring(::GetCurrentProcessId()) + L"." + std::to_wstring(i) + L".new";
        handle opened(
            ::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (opened.valid() || ::GetLastError() != ERROR_FILE_EXISTS) {
            return opened;
        }
    }
    return handle(INVALID_HANDLE_VALUE);
}

bool write_all(HANDLE file, std::string_view text) {
    constexpr std::size_t most = std::size_t{1} << 20;
    while (!text.empty()) {
        DWORD written = 0;
        const auto size = static_cast<DWORD>(std::min(text.size(), most));
        if (::WriteFile(file, text.data(), size, &written, nullptr) == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

bool is_replaceable(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    return attributes == INVALID_FILE_ATTRIBUTES || (attributes & others) == 0;
}

}  // namespace

file_writing write_whole_file(const std::string& path, std::string_view text) {
    const std::wstring wide = wide_text(path);
    if (!is_replaceable(wide)) {
        return {file_writing::not_replaced};
    }
    std::wstring name;
    os_status status = os_status::success;
    {
        const handle opened = create_beside(wide, name);
        if (!opened.valid()) {
            return {file_writing::failed, last_status()};
        }
        if (!write_all(opened.get(), text)) {
            status = last_status();
        }
    }
    if (ok(status) && ::MoveFileExW(name.c_str(), wide.c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
        status = last_status();
    }
    if (!ok(status)) {
        static_cast<void>(::DeleteFileW(name.c_str()));
        return {file_writing::failed, status};
    }
    return {};
}

}  // namespace vellum
