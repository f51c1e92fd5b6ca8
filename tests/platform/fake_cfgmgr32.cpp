// A configuration manager for tests: the present interfaces are those that VELLUM_TEST_INTERFACES lists, separated by
// "|", whatever their class; a "+" in front makes one of them appear between the size query and the first fetch.
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

constexpr DWORD code_buffer_small = 0x1A;
constexpr DWORD code_failure = 0x13;
constexpr ULONG present_only = 0;

bool size_was_asked = false;

// Every path with its terminator, and one more at the end.
std::wstring list_of_interfaces(bool all) {
    const char* text = std::getenv("VELLUM_TEST_INTERFACES");
    std::string paths = text != nullptr ? text : "";
    std::wstring list;
    if (paths.starts_with('+')) {
        paths.erase(0, all ? 1 : paths.find('|') + 1);
    }
    for (const char character : paths) {
        list.push_back(character == '|' ? L'\0' : static_cast<wchar_t>(character));
    }
    return list.empty() ? std::wstring(1, L'\0') : list + std::wstring(2, L'\0');
}

}  // namespace

extern "C" __declspec(dllexport) DWORD WINAPI
    CM_Get_Device_Interface_List_SizeW(ULONG* length, GUID* interface_class, WCHAR*, ULONG flags) {
    if (interface_class->Data1 != 0xE2D1FF34 || interface_class->Data4[7] != 0xE5 || flags != present_only) {
        return code_failure;
    }
    *length = static_cast<ULONG>(list_of_interfaces(size_was_asked).size());
    size_was_asked = true;
    return 0;
}

extern "C" __declspec(dllexport) DWORD WINAPI
    CM_Get_Device_Interface_ListW(GUID*, WCHAR*, WCHAR* buffer, ULONG length, ULONG flags) {
    const std::wstring list = list_of_interfaces(true);
    if (length < list.size()) {
        return code_buffer_small;
    }
    std::copy(list.begin(), list.end(), buffer);
    size_was_asked = false;
    return flags == present_only ? 0 : code_failure;
}
