#include "platform/windows/firmware_tables.h"

#include <windows.h>

#include "platform/last_status.h"

namespace vellum {
namespace {

constexpr DWORD raw_smbios = 0x52534D42;  // 'RSMB'
constexpr int attempts = 8;               // while the table grows

}  // namespace

// The call tells the size that it needs, whether or not the buffer has it.
os_status windows_firmware_tables::read(std::vector<std::uint8_t>& out) {
    out.clear();
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const auto room = static_cast<DWORD>(out.size());
        const UINT size = ::GetSystemFirmwareTable(raw_smbios, 0, room == 0 ? nullptr : out.data(), room);
        if (size == 0 || size > max_firmware_table) {
            out.clear();
            return size == 0 ? last_status() : os_status(ERROR_INVALID_DATA);
        }
        out.resize(size);
        if (size <= room) {
            return os_status::success;
        }
    }
    out.clear();
    return os_status(ERROR_MORE_DATA);
}

}  // namespace vellum
