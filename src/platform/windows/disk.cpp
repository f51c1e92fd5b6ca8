#include "platform/windows/disk.h"

#include <windows.h>

#include <winioctl.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "base/result.h"
#include "platform/last_status.h"
#include "platform/windows/handle.h"

namespace vellum {
namespace {

constexpr DWORD first_disk = 0;

// What a disk is opened for.
constexpr DWORD for_controls = 0;
constexpr DWORD for_reading = GENERIC_READ;

// Disks are read from and into multiples of their sector; the block serves both sizes, also as an alignment.
constexpr std::size_t block_size = std::size_t{64} * 1024;  // bytes
constexpr std::size_t block_alignment = 4096;               // bytes

struct extent {
    DWORD disk = 0;
    std::uint64_t offset = 0;  // bytes
    std::uint64_t length = 0;
};

struct boot_disk {
    handle file;
    DWORD number = first_disk;
    std::uint32_t sector_size = 0;
};

// A device for its controls alone (for_controls) or for reading; others may go on using it.
handle open_device(const std::wstring& path, DWORD access) {
    return handle(
        ::CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
}

// The control writes one structure of a fixed layout; one that does not fit it is a failure.
template <typename Answer>
os_status ask(const handle& device, DWORD code, Answer& answer) {
    DWORD received = 0;
    if (::DeviceIoControl(device.get(), code, nullptr, 0, &answer, sizeof(answer), &received, nullptr) == FALSE) {
        return last_status();
    }
    return os_status::success;
}

// Where the volume of a drive letter lies. One that is spread over several extents is refused: it is no partition.
os_status find_extent(wchar_t letter, extent& out) {
    const handle volume = open_device(std::wstring(L"\\\\.\\") + letter + L":", for_controls);
    if (!volume.valid()) {
        return last_status();
    }
    VOLUME_DISK_EXTENTS extents{};
    RETURN_IF_FAILED(ask(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, extents));
    if (extents.NumberOfDiskExtents != 1) {
        return os_status(ERROR_NOT_SUPPORTED);
    }
    const DISK_EXTENT& found = extents.Extents[0];
    if (found.StartingOffset.QuadPart < 0 || found.ExtentLength.QuadPart <= 0) {
        return os_status(ERROR_INVALID_DATA);
    }
    out = {found.DiskNumber, static_cast<std::uint64_t>(found.StartingOffset.QuadPart),
           static_cast<std::uint64_t>(found.ExtentLength.QuadPart)};
    return os_status::success;
}

// Where the Windows directory lies; nothing when that is on no disk.
std::optional<extent> place_of_system() {
    std::array<wchar_t, MAX_PATH> directory{};
    extent found;
    const UINT length = ::GetWindowsDirectoryW(directory.data(), static_cast<UINT>(directory.size()));
    const bool known = length > 0 && ok(find_extent(directory[0], found));
    return known ? std::optional(found) : std::nullopt;
}

os_status open_boot_disk(DWORD access, boot_disk& out) {
    const std::optional<extent> system = place_of_system();
    out.number = system ? system->disk : first_disk;
    out.file = open_device(L"\\\\.\\PhysicalDrive" + std::to_wstring(out.number), access);
    if (!out.file.valid()) {
        return last_status();
    }
    DISK_GEOMETRY_EX geometry{};
    RETURN_IF_FAILED(ask(out.file, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, geometry));
    out.sector_size = geometry.Geometry.BytesPerSector;
    return is_sector_size(out.sector_size) ? os_status::success : os_status(ERROR_INVALID_DATA);
}

os_status read_blocks(const handle& file, std::span<std::uint8_t> buffer) {
    alignas(block_alignment) std::array<std::uint8_t, block_size> block;
    while (!buffer.empty()) {
        const std::size_t wanted = std::min(buffer.size(), block.size());
        DWORD got = 0;
        if (::ReadFile(file.get(), block.data(), static_cast<DWORD>(wanted), &got, nullptr) == FALSE) {
            return last_status();
        }
        if (got != wanted) {
            return os_status(ERROR_HANDLE_EOF);
        }
        std::copy_n(block.begin(), wanted, buffer.begin());
        buffer = buffer.subspan(wanted);
    }
    return os_status::success;
}

}  // namespace

os_status windows_disk::sector_size(std::uint32_t& bytes) {
    boot_disk disk;
    RETURN_IF_FAILED(open_boot_disk(for_controls, disk));
    bytes = disk.sector_size;
    return os_status::success;
}

os_status windows_disk::read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) {
    boot_disk disk;
    RETURN_IF_FAILED(open_boot_disk(for_reading, disk));
    constexpr auto max_offset = static_cast<std::uint64_t>(std::numeric_limits<LONGLONG>::max());
    if (buffer.size() % disk.sector_size != 0 || first_lba > (max_offset - buffer.size()) / disk.sector_size) {
        return os_status(ERROR_INVALID_PARAMETER);
    }
    LARGE_INTEGER offset{};
    offset.QuadPart = static_cast<LONGLONG>(first_lba * disk.sector_size);
    if (::SetFilePointerEx(disk.file.get(), offset, nullptr, FILE_BEGIN) == FALSE) {
        return last_status();
    }
    return read_blocks(disk.file, buffer);
}

os_status windows_disk::volumes(std::vector<disk_volume>& out) {
    out.clear();
    boot_disk disk;
    RETURN_IF_FAILED(open_boot_disk(for_controls, disk));
    const DWORD drives = ::GetLogicalDrives();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        extent place;
        const bool present = (drives >> (letter - 'A') & 1U) != 0;
        if (present && ok(find_extent(static_cast<wchar_t>(letter), place)) && place.disk == disk.number &&
            place.length >= disk.sector_size) {
            const std::uint64_t first = place.offset / disk.sector_size;
            const std::uint64_t last = first + place.length / disk.sector_size - 1;
            out.push_back({letter, first, last, std::string(1, letter) + ":", ""});
        }
    }
    return os_status::success;
}

std::optional<std::string> windows_disk::choice() {
    if (place_of_system()) {
        return std::nullopt;
    }
    return "The Windows directory lies on no disk. Disk " + std::to_string(first_disk) +
           " is taken for the boot disk, as the first one of the machine.";
}

}  // namespace vellum
