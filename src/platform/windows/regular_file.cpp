#include "platform/regular_file.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <bit>

#include "platform/last_status.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

constexpr DWORD shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

handle open_file(const std::string& path, DWORD access, DWORD disposition, DWORD flags) {
    return handle(
        ::CreateFileW(wide_text(path).c_str(), access, shared_with_all, nullptr, disposition, flags, nullptr));
}

handle open_existing(const std::string& path, DWORD access, DWORD flags) {
    return open_file(path, access, OPEN_EXISTING, flags);
}

// Null when that fails.
file_handle file_of(handle& opened, int flags, const char* mode) {
    const int number = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(opened.get()), flags);
    if (number == -1) {
        return nullptr;
    }
    static_cast<void>(opened.release());
    file_handle file(::_fdopen(number, mode));
    if (!file) {
        ::_close(number);
    }
    return file;
}

std::string final_path(HANDLE opened, DWORD form) {
    std::wstring path(MAX_PATH, L'\0');
    DWORD size = ::GetFinalPathNameByHandleW(opened, path.data(), static_cast<DWORD>(path.size()), form);
    if (size > path.size()) {
        path.resize(size);
        size = ::GetFinalPathNameByHandleW(opened, path.data(), size, form);
    }
    return size <= path.size() ? narrow_text(std::wstring_view(path).substr(0, size)) : std::string();
}

// A volume may have no letter.
file_place place_of(HANDLE opened, const BY_HANDLE_FILE_INFORMATION& facts) {
    std::string path = final_path(opened, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    if (path.empty()) {
        path = final_path(opened, FILE_NAME_NORMALIZED | VOLUME_NAME_GUID);
    }
    return {std::move(path), facts.dwVolumeSerialNumber, 0};
}

// Disks count as files for GetFileType, but have none of these facts.
[[nodiscard]] bool is_regular(HANDLE opened, BY_HANDLE_FILE_INFORMATION& facts) {
    return ::GetFileType(opened) == FILE_TYPE_DISK && ::GetFileInformationByHandle(opened, &facts) != FALSE &&
           (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

file_opening open_and_ask(const std::string& path, regular_file& out) {
    handle opened = open_existing(path, GENERIC_READ, FILE_ATTRIBUTE_NORMAL);
    if (!opened.valid()) {
        return {file_opening::failed, last_status()};
    }
    BY_HANDLE_FILE_INFORMATION facts{};
    if (!is_regular(opened.get(), facts)) {
        return {file_opening::not_regular};
    }
    const file_place place = place_of(opened.get(), facts);
    file_handle file = file_of(opened, _O_RDONLY | _O_BINARY, "rb");
    if (!file) {
        return {file_opening::failed, last_status()};
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    const std::uint64_t size = std::uint64_t{facts.nFileSizeHigh} << 32 | facts.nFileSizeLow;
    out = {std::move(file), size, place};
    return {};
}

// The system has no such announcement.
void announce_reading(const std::string& /*path*/) {}

// The right to append alone makes each write one step for all who share the file.
bool open_to_append(const std::string& path, file_handle& out) {
    constexpr DWORD access = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
    handle opened = open_file(path, access, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    BY_HANDLE_FILE_INFORMATION facts{};
    const bool taken =
        opened.valid() && (::GetFileType(opened.get()) == FILE_TYPE_CHAR || is_regular(opened.get(), facts));
    out = taken ? file_of(opened, _O_WRONLY | _O_APPEND | _O_BINARY, "ab") : nullptr;
    return out != nullptr;
}

// The C library would hand the text on in pieces of its own.
bool append_text(std::FILE& file, std::string_view text) {
    std::string lines;
    lines.reserve(text.size() + text.size() / 16);
    for (const char c : text) {
        if (c == '\n') {
            lines += '\r';
        }
        lines += c;
    }
    const auto opened = std::bit_cast<HANDLE>(::_get_osfhandle(::_fileno(&file)));
    DWORD written = 0;
    return lines.size() <= MAXDWORD &&
           ::WriteFile(opened, lines.data(), static_cast<DWORD>(lines.size()), &written, nullptr) != FALSE &&
           written == lines.size();
}

os_status locate(const std::string& path, file_place& out) {
    const handle opened = open_existing(path, FILE_READ_ATTRIBUTES, FILE_FLAG_BACKUP_SEMANTICS);
    BY_HANDLE_FILE_INFORMATION facts{};
    if (!opened.valid() || ::GetFileInformationByHandle(opened.get(), &facts) == FALSE) {
        return last_status();
    }
    out = place_of(opened.get(), facts);
    return os_status::success;
}

}  // namespace vellum
