#include "platform/linux/firmware_tables.h"

#include <algorithm>
#include <vector>

#include "base/bytes.h"
#include "platform/bounded_file.h"

namespace vellum {
namespace {

constexpr const char* table_path = "/sys/firmware/dmi/tables/DMI";
constexpr std::uint64_t max_table_size = std::uint64_t{16} * 1024 * 1024;

}  // namespace

std::uint32_t linux_firmware_tables::fetch_smbios(std::span<std::uint8_t> buffer) {
    std::vector<std::uint8_t> table;
    if (read_bounded(root_ + table_path, max_table_size, table) != file_read::done) {
        return 0;
    }
    const auto needed = static_cast<std::uint32_t>(smbios_head_size + table.size());
    if (buffer.size() >= needed) {
        std::fill_n(buffer.begin(), smbios_head_size, std::uint8_t{0});
        put_le(buffer.subspan(smbios_length_offset), static_cast<std::uint32_t>(table.size()));
        std::copy(table.begin(), table.end(), buffer.begin() + smbios_head_size);
    }
    return needed;
}

}  // namespace vellum
