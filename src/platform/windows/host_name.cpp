#include "platform/host_name.h"

#include <windows.h>

#include <array>

#include "platform/windows/wide_text.h"

namespace vellum {

std::string host_name() {
    std::array<wchar_t, 256> name{};
    DWORD size = static_cast<DWORD>(name.size());
    const bool told = ::GetComputerNameExW(ComputerNamePhysicalDnsHostname, name.data(), &size) != 0;
    return told ? narrow_text(std::wstring_view(name.data(), size)) : std::string();
}

}  // namespace vellum
