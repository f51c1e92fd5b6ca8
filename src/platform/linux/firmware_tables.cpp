#include "platform/linux/firmware_tables.h"

#include <cerrno>

#include "base/bytes.h"
#include "platform/bounded_file.h"

namespace vellum {
namespace {

constexpr const char* table_path = "/sys/firmware/dmi/tables/DMI";

}  // namespace

os_status linux_firmware_tables::read(std::vector<std::uint8_t>& out) {
    std::vector<std::uint8_t> table;
    out.clear();
    const file_read read = read_bounded(root_ + table_path, max_firmware_table - smbios_head_size, table);
    if (!ok(read)) {
        return ok(read.reason) ? os_status(EIO) : read.reason;
    }
    out.resize(smbios_head_size);
    put_le(std::span(out).subspan(smbios_length_offset), static_cast<std::uint32_t>(table.size()));
    out.insert(out.end(), table.begin(), table.end());
    return os_status::success;
}

}  // namespace vellum
