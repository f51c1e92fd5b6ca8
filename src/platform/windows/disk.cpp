#include "platform/windows/disk.h"

#include <windows.h>

#include <winioctl.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "platform/windows/handle.h"

namespace vellum {
namespace {

constexpr DWORD first_disk = 0;

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

// A device for its controls alone (access 0) or for reading; others may go on using it.
handle open_device(const std::wstring& path, DWORD access) {
    return handle(
        ::CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
}

// The control writes one structure of a fixed layout; one that does not fit it is a failure.
template <typename Answer>
std::uint32_t ask(const handle& device, DWORD code, Answer& answer) {
    DWORD received = 0;
    if (::DeviceIoControl(device.get(), code, nullptr, 0, &answer, sizeof(answer), &received, nullptr) == FALSE) {
        return ::GetLastError();
    }
    return ERROR_SUCCESS;
}

// Where the volume of a drive letter lies. One that is spread over several extents is refused: it is no partition.
std::uint32_t find_extent(wchar_t letter, extent& out) {
    const handle volume = open_device(std::wstring(L"\\\\.\\") + letter + L":", 0);
    if (!volume.valid()) {
        return ::GetLastError();
    }
    VOLUME_DISK_EXTENTS extents{};
    const std::uint32_t error = ask(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, extents);
    if (error != ERROR_SUCCESS || extents.NumberOfDiskExtents != 1) {
        return error != ERROR_SUCCESS ? error : ERROR_NOT_SUPPORTED;
    }
    const DISK_EXTENT& found = extents.Extents[0];
    if (found.StartingOffset.QuadPart < 0 || found.ExtentLength.QuadPart <= 0) {
        return ERROR_INVALID_DATA;
    }
    out = {found.DiskNumber, static_cast<std::uint64_t>(found.StartingOffset.QuadPart),
           static_cast<std::uint64_t>(found.ExtentLength.QuadPart)};
    return ERROR_SUCCESS;
}

DWORD boot_disk_number() {
    std::array<wchar_t, MAX_PATH> directory{};
    extent windows;
    const UINT length = ::GetWindowsDirectoryW(directory.data(), static_cast<UINT>(directory.size()));
    const bool found = length > 0 && find_extent(directory[0], windows) == ERROR_SUCCESS;
    return found ? windows.disk : first_disk;
}

std::uint32_t open_boot_disk(DWORD access, boot_disk& out) {
    out.number = boot_disk_number();
    out.file = open_device(L"\\\\.\\PhysicalDrive" + std::to_wstring(out.number), access);
    if (!out.file.valid()) {
        return ::GetLastError();
    }
    DISK_GEOMETRY_EX geometry{};
    const std::uint32_t error = ask(out.file, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, geometry);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    out.sector_size = geometry.Geometry.BytesPerSector;
    return is_sector_size(out.sector_size) ? ERROR_SUCCESS : ERROR_INVALID_DATA;
}

std::uint32_t read_blocks(const handle& file, std::span<std::uint8_t> buffer) {
    alignas(block_alignment) std::array<std::uint8_t, block_size> block;
    while (!buffer.empty()) {
        const std::size_t wanted = std::min(buffer.size(), block.size());
        DWORD got = 0;
        if (::ReadFile(file.get(), block.data(), static_cast<DWORD>(wanted), &got, nullptr) == FALSE) {
            return ::GetLastError();
        }
        if (got != wanted) {
            return ERROR_HANDLE_EOF;
        }
        std::copy_n(block.begin(), wanted, buffer.begin());
        buffer = buffer.subspan(wanted);
    }
    return ERROR_SUCCESS;
}

}  // namespace

std::uint32_t windows_disk::sector_size(std::uint32_t& bytes) {
    boot_disk disk;
    const std::uint32_t error = open_boot_disk(0, disk);
    if (error == ERROR_SUCCESS) {
        bytes = disk.sector_size;
    }
    return error;
}

std::uint32_t windows_disk::read(std::uint64_t first_lba, std::span<std::uint8_t> buffer) {
    boot_disk disk;
    const std::uint32_t error = open_boot_disk(GENERIC_READ, disk);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    constexpr auto max_offset = static_cast<std::uint64_t>(std::numeric_limits<LONGLONG>::max());
    if (buffer.size() % disk.sector_size != 0 || first_lba > (max_offset - buffer.size()) / disk.sector_size) {
        return ERROR_INVALID_PARAMETER;
    }
    LARGE_INTEGER offset{};
    offset.QuadPart = static_cast<LONGLONG>(first_lba * disk.sector_size);
    if (::SetFilePointerEx(disk.file.get(), offset, nullptr, FILE_BEGIN) == FALSE) {
        return ::GetLastError();
    }
    return read_blocks(disk.file, buffer);
}

std::uint32_t windows_disk::volumes(std::vector<disk_volume>& out) {
    out.clear();
    boot_disk disk;
    const std::uint32_t error = open_boot_disk(0, disk);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const DWORD drives = ::GetLogicalDrives();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        extent place;
        const bool present = (drives >> (letter - 'A') & 1U) != 0;
        if (present && find_extent(static_cast<wchar_t>(letter), place) == ERROR_SUCCESS &&
            place.disk == disk.number && place.length >= disk.sector_size) {
            const std::uint64_t first = place.offset / disk.sector_size;
            const std::uint64_t last = first + place.length / disk.sector_size - 1;
            out.push_back({letter, first, last, std::string(1, letter) + ":", ""});
        }
    }
    return ERROR_SUCCESS;
}

}  // namespace vellum
