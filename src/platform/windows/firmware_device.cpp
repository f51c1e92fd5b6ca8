#include "platform/windows/firmware_device.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <algorithm>

#include "platform/last_status.h"
#include "platform/shared/interface_search.h"
#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

// The driver's answers to a connect request for a client that it does not have.
bool says_no_such_client(std::uint32_t code, os_status error) {
    return code == peli::connect_client_code &&
           (error == os_status(ERROR_FILE_NOT_FOUND) || error == os_status(ERROR_NOT_FOUND));
}

GUID system_guid(const firmware_device::class_guid& bytes) {
    GUID guid{};
    std::uint32_t first = 0;
    byte_reader reader(bytes);
    const bool whole =
        reader.u32_le(first) && reader.u16_le(guid.Data2) && reader.u16_le(guid.Data3) && reader.copy(guid.Data4);
    guid.Data1 = first;
    return whole ? guid : GUID{};
}

template <typename Bytes>
DWORD size_of(const Bytes& bytes) {
    return static_cast<DWORD>(std::min<std::size_t>(bytes.size(), MAXDWORD));
}

io_status status_of_wait(DWORD waited) {
    switch (waited) {
        case WAIT_OBJECT_0: return io_status::completed;
        case WAIT_TIMEOUT: return io_status::timed_out;
        case WAIT_ABANDONED: return io_status::wait_abandoned;
        default: return io_status::wait_failed;
    }
}

// Ends a pending transfer, so that neither its buffer nor its record is written to any more. True when it completed
// before the cancellation reached it.
[[nodiscard]] bool end_transfer(HANDLE device, OVERLAPPED& overlapped, DWORD& transferred) {
    ::CancelIoEx(device, &overlapped);
    return ::GetOverlappedResult(device, &overlapped, &transferred, TRUE) != FALSE;
}

std::uint32_t list_size(GUID guid, std::uint32_t& characters) {
    ULONG length = 0;
    const CONFIGRET code =
        ::CM_Get_Device_Interface_List_SizeW(&length, &guid, nullptr, CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
    characters = length;
    return code;
}

std::uint32_t list_paths(GUID guid, std::uint32_t characters, std::vector<std::string>& paths) {
    std::wstring list(characters, L'\0');
    const CONFIGRET code = ::CM_Get_Device_Interface_ListW(&guid, nullptr, list.data(), characters,
                                                           CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
    if (code != CR_SUCCESS) {
        return code;
    }
    for (std::wstring_view rest = list; !rest.empty() && rest.front() != L'\0';) {
        const std::wstring_view path = rest.substr(0, rest.find(L'\0'));
        paths.push_back(narrow_text(path));
        rest.remove_prefix(std::min(path.size() + 1, rest.size()));
    }
    return CR_SUCCESS;
}

// Waits for a pending transfer; one that is not collected afterwards has ended.
void await_transfer(HANDLE device, OVERLAPPED& overlapped, std::uint32_t timeout_ms, io_result& outcome) {
    const DWORD waited = ::WaitForSingleObject(overlapped.hEvent, timeout_ms);
    outcome.status = status_of_wait(waited);
    if (outcome.status == io_status::completed) {
        return;
    }
    outcome.error = outcome.status == io_status::wait_failed ? last_status() : os_status(waited);
    DWORD transferred = 0;
    if (end_transfer(device, overlapped, transferred) && outcome.status == io_status::timed_out) {
        outcome.status = io_status::completed;
    }
}

// One overlapped call from start to end. `start` issues it and returns what the system's call returned.
template <typename Start>
io_result transfer(HANDLE device, std::uint32_t timeout_ms, const transfer_steps& steps, Start start) {
    io_result outcome;
    const handle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event.valid()) {
        return {io_status::no_event, 0, last_status(), false};
    }
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.get();
    steps.starting();
    if (start(&overlapped) == FALSE) {
        outcome.error = last_status();
        if (outcome.error != os_status(ERROR_IO_PENDING)) {
            outcome.status = io_status::not_started;
            return outcome;
        }
        outcome.pending = true;
        outcome.error = os_status::success;
        steps.waiting();
        await_transfer(device, overlapped, timeout_ms, outcome);
        if (outcome.status != io_status::completed) {
            return outcome;
        }
    }
    DWORD transferred = 0;
    if (::GetOverlappedResult(device, &overlapped, &transferred, FALSE) == FALSE) {
        return {io_status::not_collected, 0, last_status(), outcome.pending};
    }
    return {io_status::completed, transferred, os_status::success, outcome.pending};
}

}  // namespace

found_interfaces windows_firmware_device::interfaces(const class_guid& interface_class,
                                                     const interface_steps& steps) {
    const GUID guid = system_guid(interface_class);
    return search_interfaces(
        steps, [&guid](std::uint32_t& characters) { return list_size(guid, characters); },
        [&guid](std::uint32_t characters, std::vector<std::string>& paths) {
            return list_paths(guid, characters, paths);
        });
}

os_status windows_firmware_device::open(const std::string& path) {
    device_ = handle(::CreateFileW(wide_text(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED,
                                   nullptr));
    return device_.valid() ? os_status::success : last_status();
}

os_status windows_firmware_device::close() {
    return device_.close() ? os_status::success : last_status();
}

io_result windows_firmware_device::control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output,
                                           std::uint32_t timeout_ms, const transfer_steps& steps) {
    // The call does not write to its input, though its signature lets it.
    std::vector<std::uint8_t> request(input.begin(), input.end());
    io_result outcome = transfer(device_.get(), timeout_ms, steps, [&](OVERLAPPED* overlapped) {
        return ::DeviceIoControl(device_.get(), code, request.data(), size_of(request), output.data(),
                                 size_of(output), nullptr, overlapped);
    });
    const bool answered = outcome.status == io_status::not_started || outcome.status == io_status::not_collected;
    if (answered && says_no_such_client(code, outcome.error)) {
        outcome.status = io_status::no_such_client;
    }
    return outcome;
}

io_result windows_firmware_device::write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) {
    return transfer(device_.get(), timeout_ms, steps, [&](OVERLAPPED* overlapped) {
        return ::WriteFile(device_.get(), message.data(), size_of(message), nullptr, overlapped);
    });
}

io_result windows_firmware_device::read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms,
                                        const transfer_steps& steps) {
    return transfer(device_.get(), timeout_ms, steps, [&](OVERLAPPED* overlapped) {
        return ::ReadFile(device_.get(), buffer.data(), size_of(buffer), nullptr, overlapped);
    });
}

}  // namespace vellum
