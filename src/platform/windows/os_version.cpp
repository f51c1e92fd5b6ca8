#include "platform/windows/os_version.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

// Without a separator at its end, which names the same key and which not every implementation of the call takes.
constexpr const wchar_t* version_key = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

os_status read_number(const char* name, std::uint32_t& out) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, version_key, wide_text(name).c_str(), RRF_RT_REG_DWORD,
                                          nullptr, &value, &size);
    if (status == ERROR_SUCCESS) {
        out = value;
    }
    return os_status(static_cast<std::uint32_t>(status));
}

}  // namespace

os_status windows_os_version::read_major(std::uint32_t& out) {
    return read_number(os_major_version_name, out);
}

os_status windows_os_version::read_minor(std::uint32_t& out) {
    return read_number(os_minor_version_name, out);
}

os_status windows_os_version::read_build(std::string& out) {
    std::wstring value(max_os_build_text + 1, L'\0');
    auto size = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, version_key, wide_text(os_build_name).c_str(),
                                          RRF_RT_REG_SZ, nullptr, value.data(), &size);
    if (status != ERROR_SUCCESS) {
        return os_status(static_cast<std::uint32_t>(status));
    }
    std::string text = narrow_text(value.substr(0, value.find(L'\0')));
    if (text.size() > max_os_build_text) {
        return os_status(ERROR_MORE_DATA);
    }
    out = std::move(text);
    return os_status::success;
}

}  // namespace vellum
