#include "platform/windows/os_version.h"

#include <windows.h>

#include <limits>

#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

// Without a separator at its end, which names the same key and which not every implementation of the call takes.
constexpr const wchar_t* version_key = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

}  // namespace

std::uint32_t windows_os_version::read_number(const char* name, std::uint32_t& out) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, version_key, wide_text(name).c_str(), RRF_RT_REG_DWORD,
                                          nullptr, &value, &size);
    if (status == ERROR_SUCCESS) {
        out = value;
    }
    return static_cast<std::uint32_t>(status);
}

std::uint32_t windows_os_version::read_text(const char* name, std::size_t capacity, std::string& out) {
    if (capacity == 0 || capacity > std::numeric_limits<DWORD>::max() / sizeof(wchar_t)) {
        return ERROR_INVALID_PARAMETER;
    }
    std::wstring value(capacity, L'\0');
    auto size = static_cast<DWORD>(capacity * sizeof(wchar_t));
    const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, version_key, wide_text(name).c_str(), RRF_RT_REG_SZ,
                                          nullptr, value.data(), &size);
    if (status != ERROR_SUCCESS) {
        return static_cast<std::uint32_t>(status);
    }
    std::string text = narrow_text(value.substr(0, value.find(L'\0')));
    if (text.size() >= capacity) {
        return ERROR_MORE_DATA;
    }
    out = std::move(text);
    return ERROR_SUCCESS;
}

}  // namespace vellum
