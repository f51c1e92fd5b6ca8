#include "platform/linux/block_devices.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "base/text.h"
#include "platform/bounded_file.h"
#include "platform/disk.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t max_mount_table = std::uint64_t{8} * 1024 * 1024;  // bytes
constexpr std::uint64_t max_attribute = 4096;                              // bytes
constexpr int max_layers = 16;                                             // of mapped devices

// One line of the mount table: "36 35 98:0 /fsroot /point options shared:1 - type source superoptions".
struct mount_line {
    std::string device;  // "major:minor"
    std::string fs_root;
    std::string point;
    std::string source;
};

bool is_octal(char character) {
    return character >= '0' && character <= '7';
}

// Blanks and backslashes stand as "\040" and the like.
std::string unescape(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && text.size() - i > 3 && std::all_of(&text[i + 1], &text[i + 1] + 3, is_octal)) {
            out.push_back(
                static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0')));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

mount_line parse_mount(std::string_view line) {
    mount_line mount;
    take_until(line, ' ');
    take_until(line, ' ');
    mount.device = take_until(line, ' ');
    mount.fs_root = unescape(take_until(line, ' '));
    mount.point = unescape(take_until(line, ' '));
    while (!line.empty() && take_until(line, ' ') != "-") {
    }
    take_until(line, ' ');
    mount.source = unescape(take_until(line, ' '));
    return mount;
}

// A later mount on the same point hides the earlier one, so that the last one comes first.
std::vector<mount_line> read_mounts(const std::string& root) {
    std::string table;
    std::vector<mount_line> mounts;
    if (!ok(read_bounded(root + "/proc/self/mountinfo", max_mount_table, table))) {
        return mounts;
    }
    for (std::string_view rest = table; !rest.empty();) {
        mounts.push_back(parse_mount(take_until(rest, '\n')));
    }
    std::reverse(mounts.begin(), mounts.end());
    return mounts;
}

// The device's directory in the device tree. File systems that span devices have a number of their own and name one
// device as their source.
std::optional<fs::path> device_directory(const std::string& root, const mount_line& mount) {
    std::error_code error;
    fs::path found = fs::canonical(root + "/sys/dev/block/" + mount.device, error);
    if (error && mount.source.starts_with("/dev/")) {
        const fs::path node = fs::weakly_canonical(root + mount.source, error);
        found = fs::canonical(root + "/sys/class/block/" + node.filename().string(), error);
    }
    return error ? std::nullopt : std::optional(found);
}

// The devices below a mapped device; none for a partition or disk. Stops at two: they are one too many.
std::vector<fs::path> devices_below(const fs::path& device) {
    std::vector<fs::path> below;
    std::error_code error;
    for (fs::directory_iterator at(device / "slaves", error), end; !error && at != end && below.size() < 2;
         at.increment(error)) {
        below.push_back(at->path());
    }
    return below;
}

std::optional<mounted_volume> place_on_disk(fs::path device) {
    std::error_code error;
    for (int layer = 0; layer < max_layers; ++layer) {
        const std::vector<fs::path> below = devices_below(device);
        if (below.empty()) {
            const bool partition = fs::exists(device / "partition", error);
            mounted_volume volume;
            volume.disk = partition ? device.parent_path() : device;
            volume.first = partition ? read_device_number(device / "start").value_or(0) : 0;
            volume.count = read_device_number(device / "size").value_or(0);
            return volume.count > 0 ? std::optional(volume) : std::nullopt;
        }
        device = fs::canonical(below.front(), error);
        if (below.size() > 1 || error) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

auto place_of(const mounted_volume& volume) {
    return std::tie(volume.disk, volume.first, volume.count);
}

// The disks and partitions of the machine, by their paths in the device tree.
std::vector<fs::path> block_devices(const std::string& root) {
    std::vector<fs::path> devices;
    std::error_code error;
    for (fs::directory_iterator at(root + "/sys/class/block", error), end; !error && at != end; at.increment(error)) {
        std::error_code unresolved;
        fs::path device = fs::canonical(at->path(), unresolved);
        if (!unresolved) {
            devices.push_back(std::move(device));
        }
    }
    std::sort(devices.begin(), devices.end());
    return devices;
}

bool is_partition(const fs::path& device, const boot_partition& wanted) {
    const fs::path disk = device.parent_path();
    const std::optional<std::uint32_t> sector_size = sector_size_of(disk);
    if (!sector_size || read_device_number(device / "partition") != wanted.number) {
        return false;
    }
    const std::uint64_t per_sector = *sector_size / kernel_sector_size;
    const std::uint64_t first = read_device_number(device / "start").value_or(0);
    const std::uint64_t count = read_device_number(device / "size").value_or(0);
    return first % per_sector == 0 && count % per_sector == 0 && first / per_sector == wanted.first &&
           count / per_sector == wanted.count;
}

// Of a disk that hides, the kernel shows another one that stands for it.
bool is_fixed_disk(const fs::path& device) {
    std::error_code error;
    const auto is_set = [&device](const char* attribute) {
        return read_device_number(device / attribute).value_or(0) != 0;
    };
    return fs::exists(device / "device", error) && !fs::exists(device / "partition", error) && is_set("size") &&
           !is_set("removable") && !is_set("ro") && !is_set("hidden");
}

}  // namespace

std::vector<fs::path> disks_with(const std::string& root, const boot_partition& partition) {
    std::vector<fs::path> disks;
    for (const fs::path& device : block_devices(root)) {
        if (is_partition(device, partition)) {
            disks.push_back(device.parent_path());
        }
    }
    return disks;
}

std::vector<fs::path> fixed_disks(const std::string& root) {
    std::vector<fs::path> disks = block_devices(root);
    std::erase_if(disks, [](const fs::path& device) { return !is_fixed_disk(device); });
    return disks;
}

std::optional<std::uint32_t> sector_size_of(const fs::path& disk) {
    const auto size = read_device_number(disk / "queue" / "logical_block_size");
    return size && is_sector_size(*size) ? std::optional(static_cast<std::uint32_t>(*size)) : std::nullopt;
}

std::vector<mounted_volume> mounted_volumes(const std::string& root) {
    std::vector<mount_line> mounts = read_mounts(root);
    // Where a volume is mounted more than once, the whole of it is preferred to a part.
    std::stable_sort(mounts.begin(), mounts.end(), [](const mount_line& a, const mount_line& b) {
        return std::tuple(a.point != "/", a.fs_root != "/") < std::tuple(b.point != "/", b.fs_root != "/");
    });
    std::vector<mounted_volume> volumes;
    for (const mount_line& mount : mounts) {
        const std::optional<fs::path> device = device_directory(root, mount);
        std::optional<mounted_volume> volume = device ? place_on_disk(*device) : std::nullopt;
        if (volume && std::none_of(volumes.begin(), volumes.end(),
                                   [&](const auto& known) { return place_of(known) == place_of(*volume); })) {
            volume->point = mount.point;
            volumes.push_back(std::move(*volume));
        }
    }
    std::stable_sort(volumes.begin(), volumes.end(), [](const mounted_volume& a, const mounted_volume& b) {
        return std::tuple(a.point != "/", place_of(a)) < std::tuple(b.point != "/", place_of(b));
    });
    return volumes;
}

std::optional<std::uint64_t> read_device_number(const fs::path& path) {
    std::string text;
    if (!ok(read_bounded(path.string(), max_attribute, text))) {
        return std::nullopt;
    }
    return parse_decimal(trim(text));
}

}  // namespace vellum
