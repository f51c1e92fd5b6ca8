#include "platform/linux/boot_entry.h"

#include <vector>

#include "base/bytes.h"
#include "base/format.h"
#include "platform/bounded_file.h"

namespace vellum {
namespace {

constexpr std::uint64_t max_variable = std::uint64_t{64} * 1024;  // bytes
constexpr std::size_t attributes_size = 4;                        // before the data of each variable

constexpr std::size_t option_attributes_size = 4;  // of a load option

constexpr std::uint8_t media_path = 0x04;
constexpr std::uint8_t hard_drive = 0x01;
constexpr std::uint8_t end_of_path = 0x7F;
constexpr std::uint16_t node_head_size = 4;  // type, subtype, length

std::optional<std::vector<std::uint8_t>> read_variable(const std::string& root, const std::string& name) {
    constexpr const char* global_variable = "-8be4df61-93ca-11d2-aa0d-00e098032b8c";
    const std::string path = root + "/sys/firmware/efi/efivars/" + name + global_variable;
    std::vector<std::uint8_t> bytes;
    if (!ok(read_bounded(path, max_variable, bytes)) || bytes.size() < attributes_size) {
        return std::nullopt;
    }
    bytes.erase(bytes.begin(), bytes.begin() + attributes_size);
    return bytes;
}

[[nodiscard]] bool skip_description(byte_reader& reader) {
    std::uint16_t unit = 0;
    do {
        if (!reader.u16_le(unit)) {
            return false;
        }
    } while (unit != 0);
    return true;
}

// The first partition in the path.
std::optional<boot_partition> find_partition(byte_reader path) {
    std::uint8_t type = 0;
    std::uint8_t subtype = 0;
    std::uint16_t length = 0;
    byte_reader node({});
    while (path.u8(type) && path.u8(subtype) && path.u16_le(length) && length >= node_head_size &&
           path.sub(length - node_head_size, node) && type != end_of_path) {
        if (type == media_path && subtype == hard_drive) {
            boot_partition found;
            const bool whole = node.u32_le(found.number) && node.u64_le(found.first) && node.u64_le(found.count);
            return whole ? std::optional(found) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<boot_partition> partition_of_option(byte_view option) {
    byte_reader reader(option);
    std::uint16_t path_size = 0;
    byte_reader path({});
    const bool whole = reader.skip(option_attributes_size) && reader.u16_le(path_size) && skip_description(reader) &&
                       reader.sub(path_size, path);
    return whole ? find_partition(path) : std::nullopt;
}

}  // namespace

std::optional<boot_partition> partition_of_boot_entry(const std::string& root) {
    const auto current = read_variable(root, "BootCurrent");
    std::uint16_t entry = 0;
    if (!current || !byte_reader(*current).u16_le(entry)) {
        return std::nullopt;
    }
    const std::string name = formatted("Boot%04X", entry);
    const auto option = read_variable(root, name);
    std::optional<boot_partition> found = option ? partition_of_option(*option) : std::nullopt;
    if (found) {
        found->entry = name;
    }
    return found;
}

}  // namespace vellum
