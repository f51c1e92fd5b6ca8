#include "platform/windows/firmware_tables.h"

#include <windows.h>

#include <algorithm>

namespace vellum {
namespace {

constexpr DWORD raw_smbios = 0x52534D42;  // 'RSMB'

}  // namespace

std::uint32_t windows_firmware_tables::fetch_smbios(std::span<std::uint8_t> buffer) {
    const auto room = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), MAXDWORD));
    return ::GetSystemFirmwareTable(raw_smbios, 0, room == 0 ? nullptr : buffer.data(), room);
}

}  // namespace vellum
