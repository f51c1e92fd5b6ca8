#include "firmware/peli.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/os_error.h"
#include "platform/firmware_device.h"
#include "platform/system_errors.h"

namespace vellum {
namespace {

constexpr std::int32_t ioctl_success = 5;
constexpr std::int32_t ioctl_client_absent = -4;
constexpr std::int32_t ioctl_failed = -1;

// No driver can make the program allocate without bound or ask for the list for ever.
constexpr std::uint32_t max_list_characters = 1U << 20;
constexpr std::uint32_t min_message_length = 1;
constexpr int max_list_fetches = 16;

struct PeliConnection {
    std::uint32_t write_timeout_ms = peli_timeout_ms;
    std::uint32_t read_timeout_ms = peli_timeout_ms;
    firmware_device* device = nullptr;  // null while no device is open
    std::uint32_t max_message_length = 0;
    bool connected = false;
};

PeliConnection connection;

// The lines that announce a system's call. They are in the log file when the driver does not return from it.
void announce(std::initializer_list<const char*> lines) {
    for (const char* const line : lines) {
        log_at(log_level::debug, "%s", line);
    }
    log_flush();
}

struct control_steps final : transfer_steps {
    void starting() const override { announce({"Running DeviceIoControl function..."}); }
    void waiting() const override { announce({"Asynchronous IO operation pending. Waiting for the result..."}); }
};

struct write_steps final : transfer_steps {
    void starting() const override {
        announce({"Succesfully created a write event to prepare message for Peli interface",
                  "Calling WriteFile function to send message to Orbis"});
    }
};

struct read_steps final : transfer_steps {
    void starting() const override { announce({"Calling ReadFile function to receive message from Orbis"}); }
};

unsigned long as_long(std::uint64_t value) {
    return static_cast<unsigned long>(value);
}

enum class list_fetch { done, outdated, failed, no_memory };

list_fetch fetch_list(firmware_device& device, std::vector<std::string>& paths) {
    std::uint32_t characters = 0;
    if (const std::uint32_t code = device.list_size(peli::interface_class, characters); code != 0) {
        static_cast<void>(push_message(
            "Cannot fetch the buffer size of Peli devices. Command CM_Get_Device_Interface_List_size failed with error: %lu.",
            as_long(code)));
        return list_fetch::failed;
    }
    if (characters <= 1) {
        static_cast<void>(push_message("No active device interfaces."));
        return list_fetch::failed;
    }
    log_at(log_level::debug, "DeviceInterface List size is: %lu", as_long(characters));
    if (characters > max_list_characters) {
        return list_fetch::no_memory;
    }
    std::uint32_t code = 0;
    try {
        code = device.list(peli::interface_class, characters, paths);
    } catch (const std::bad_alloc&) {
        return list_fetch::no_memory;
    }
    if (code == firmware_device::list_buffer_small) {
        log_at(
            log_level::warning,
            "Mismatch between device list size and its content. Retrying to check if any new device were added during runtime");
        return list_fetch::outdated;
    }
    if (code != 0) {
        static_cast<void>(push_message(
            "Cannot fetch list of device interfaces. Command CM_Get_Device_Interface_List failed with error : %lu.",
            as_long(code)));
        return list_fetch::failed;
    }
    return list_fetch::done;
}

bool list_devices(firmware_device& device, std::vector<std::string>& paths) {
    list_fetch fetched = list_fetch::outdated;
    for (int fetches = 0; fetched == list_fetch::outdated && fetches < max_list_fetches; ++fetches) {
        fetched = fetch_list(device, paths);
    }
    if (fetched == list_fetch::no_memory) {
        static_cast<void>(
            push_message("Error allocating memory for device interface list. Deinitializing Peli connection."));
    } else if (fetched == list_fetch::outdated) {
        static_cast<void>(push_message("The list of device interfaces kept growing while it was fetched."));
    } else if (fetched == list_fetch::done && paths.empty()) {
        static_cast<void>(push_message("No active device interfaces."));
    }
    return fetched == list_fetch::done && !paths.empty();
}

bool open_device(firmware_device& device) {
    std::vector<std::string> paths;
    if (!list_devices(device, paths)) {
        return false;
    }
    if (!device.open(paths.front())) {
        static_cast<void>(push_os_error(
            last_os_status(),
            "Error opening Peli interface. Ensure that platform has Peli interface present with proper driver installed. CreateFile function failed."));
        static_cast<void>(push_message("Error creating device handle."));
        return false;
    }
    connection.device = &device;
    return true;
}

// Says why the wait for a transfer ended without it; false when the wait is not what failed.
bool push_wait_failure(const io_result& transfer) {
    if (transfer.status == io_status::wait_abandoned) {
        static_cast<void>(push_message("Waiting for object was abandoned."));
        return true;
    }
    if (transfer.status == io_status::wait_failed) {
        static_cast<void>(push_os_error(os_status(transfer.error), "WaitForSingleObject failed."));
        return true;
    }
    return false;
}

void push_write_timeout() {
    static_cast<void>(push_message("Timeout occurred (%lums) while writing to Peli interface.",
                                   as_long(connection.write_timeout_ms)));
}

void push_control_failure(const io_result& transfer) {
    switch (transfer.status) {
        case io_status::not_started:
            static_cast<void>(push_os_error(os_status(transfer.error), "DeviceIoControl function call failed."));
            break;
        case io_status::timed_out: push_write_timeout(); break;
        case io_status::not_collected:
            static_cast<void>(push_os_error(os_status(transfer.error), "GetOverlappedResult function call failed."));
            break;
        default: static_cast<void>(push_wait_failure(transfer)); break;
    }
}

// One device control request: 5 on success, -4 when the driver answers that the client does not exist, another value
// on failure. `output` is cut to what the driver wrote.
std::int32_t _doIoctl(std::uint32_t code, byte_view input, std::span<std::uint8_t>& output) {
    log_at(log_level::debug, "Creating empty event to begin IO control overtake.");
    const io_result transfer =
        connection.device->control(code, input, output, connection.write_timeout_ms, control_steps());
    if (transfer.status == io_status::no_event) {
        static_cast<void>(
            push_os_error(os_status(transfer.error), "Cannot create IO event. CreateEvent function failed."));
        static_cast<void>(push_message("Aborting Peli initialization."));
        return ioctl_failed;
    }
    if (transfer.status == io_status::no_such_client) {
        return ioctl_client_absent;
    }
    if (transfer.status != io_status::completed) {
        push_control_failure(transfer);
        return ioctl_failed;
    }
    log_at(log_level::debug, "Successfully communicated with Orbis Engine Interface.");
    output = output.first(std::min<std::size_t>(transfer.transferred, output.size()));
    return ioctl_success;
}

bool read_driver_version(byte_view output, std::optional<peli_driver_version>& out) {
    if (output.size() < peli::version_size) {
        return false;
    }
    peli_driver_version& version = out.emplace();
    version.major = output[peli::version_major_offset];
    version.minor = output[peli::version_minor_offset];
    version.hotfix = output[peli::version_hotfix_offset];
    return byte_reader(output.subspan(peli::version_build_offset)).u16_le(version.build);
}

bool take_control(peli_facts& facts) {
    log_at(log_level::debug, "Calling _doIoctl command: IOCTL_PELI_GET_VERSION (0x%lx)",
           as_long(peli::get_version_code));
    std::array<std::uint8_t, peli::version_size> buffer{};
    std::span<std::uint8_t> output(buffer);
    bool taken = _doIoctl(peli::get_version_code, {}, output) == ioctl_success;
    if (taken && !read_driver_version(output, facts.driver)) {
        static_cast<void>(push_message("The Peli driver version is incomplete. Received %zu bytes.", output.size()));
        taken = false;
    }
    if (!taken) {
        static_cast<void>(push_message(
            "Could not take over IO Control to Peli interface. Check if it is not used by other process."));
        return false;
    }
    log_at(log_level::debug, "Succesfully taken IO Control of Peli device");
    return true;
}

bool read_client_properties(byte_view output) {
    std::uint32_t length = 0;
    byte_reader reader(output);
    if (!reader.skip(peli::max_message_length_offset) || !reader.u32_le(length)) {
        static_cast<void>(
            push_message("The Peli client properties are incomplete. Received %zu bytes.", output.size()));
        return false;
    }
    if (length < min_message_length || length > peli_longest_message) {
        static_cast<void>(push_message(
            "The maximum message length of the Peli client is invalid: %lu bytes, expected size in range <%lu-%lu>.",
            as_long(length), as_long(min_message_length), as_long(peli_longest_message)));
        return false;
    }
    connection.max_message_length = length;
    return true;
}

bool connect_client(peli_facts& facts) {
    log_at(log_level::debug, "Calling _doIoctl command: IOCTL_PELI_CONNECT_CLIENT (0x%lx)",
           as_long(peli::connect_client_code));
    std::array<std::uint8_t, peli::client_properties_size> buffer{};
    std::span<std::uint8_t> output(buffer);
    const std::int32_t connected = _doIoctl(peli::connect_client_code, peli::client_identifier, output);
    facts.client_absent = connected == ioctl_client_absent;
    if (facts.client_absent) {
        static_cast<void>(push_message(
            "Unable to initialize connection to KVR Feature. Make sure that Norvane(R) KVR feature is enabled on the platform."));
    }
    return connected == ioctl_success && read_client_properties(output);
}

void push_send_failure(const io_result& transfer) {
    switch (transfer.status) {
        case io_status::timed_out: push_write_timeout(); break;
        case io_status::not_collected:
            static_cast<void>(push_os_error(os_status(transfer.error),
                                            "GetOverlappedResult failed. Write function failed to finish."));
            break;
        default:
            if (!push_wait_failure(transfer)) {
                static_cast<void>(push_os_error(os_status(transfer.error), "Write to device failed."));
            }
            break;
    }
}

void push_receive_failure(const io_result& transfer) {
    switch (transfer.status) {
        case io_status::timed_out:
            static_cast<void>(push_message("Timeout occurred (%lums) while reading from Peli interface.",
                                           as_long(connection.read_timeout_ms)));
            break;
        case io_status::not_collected:
            static_cast<void>(push_os_error(os_status(transfer.error), "ReadFile failed to finish."));
            break;
        default:
            if (!push_wait_failure(transfer)) {
                static_cast<void>(push_os_error(os_status(transfer.error), "ReadFile failed."));
            }
            break;
    }
}

}  // namespace

result peli_init(firmware_device& device) {
    peli_facts facts;
    return peli_init(device, facts);
}

result peli_init(firmware_device& device, peli_facts& facts) {
    peli_deinit();
    facts = peli_facts();
    connection = PeliConnection();
    if (!open_device(device)) {
        static_cast<void>(push_message(
            "Unable to initialize PELI connection. Make sure that the appropriate Norvane Orbis driver is installed and have the right admin privileges."));
        return result::transport_failure;
    }
    if (!take_control(facts) || !connect_client(facts)) {
        peli_deinit();
        return result::transport_failure;
    }
    const peli_driver_version& version = *facts.driver;
    log_at(log_level::debug, "Initialization successful with Peli driver version: %d.%d.%d.%d", version.major,
           version.minor, version.hotfix, version.build);
    log_at(log_level::debug, "Peli interface opened successfully.");
    connection.connected = true;
    return result::success;
}

void peli_deinit() {
    if (connection.device == nullptr) {
        return;
    }
    log_at(log_level::debug, "Peli deinitialization...");
    log_at(log_level::debug, "Closing device handle...");
    if (connection.device->close()) {
        log_at(log_level::debug, "Device handle closed successfully.");
    } else {
        log_at(log_level::error, "CloseHandle failed. Error: %s", os_error_text(last_os_status()).c_str());
    }
    log_at(log_level::debug, "Peli deinitialized.");
    connection = PeliConnection();
}

bool peli_connected() {
    return connection.connected;
}

std::uint32_t peli_max_message_length() {
    return connection.max_message_length;
}

std::int64_t peli_send(byte_view message) {
    if (!connection.connected) {
        static_cast<void>(push_message("Error while sending message. Peli connection not initialized."));
        return -1;
    }
    log_at(log_level::debug, "Sending Message of len %lu... ", as_long(message.size()));
    const io_result transfer = connection.device->write(message, connection.write_timeout_ms, write_steps());
    if (transfer.status == io_status::no_event) {
        static_cast<void>(
            push_os_error(os_status(transfer.error), "Cannot create write event. CreateEvent function failed."));
        return -1;
    }
    if (transfer.status != io_status::completed) {
        push_send_failure(transfer);
        return -1;
    }
    log_at(log_level::debug, "Message sent: %lu of %lu bytes", as_long(transfer.transferred),
           as_long(message.size()));
    return transfer.transferred;
}

std::int64_t peli_receive(std::span<std::uint8_t> buffer) {
    if (!connection.connected) {
        static_cast<void>(push_message("Error while receiving message. Peli connection not initialized."));
        return -1;
    }
    log_at(log_level::debug, "Receiving Message... (max buffer size allocated for message: %lu bytes)",
           as_long(buffer.size()));
    const io_result transfer = connection.device->read(buffer, connection.read_timeout_ms, read_steps());
    if (transfer.status == io_status::no_event) {
        static_cast<void>(push_os_error(
            os_status(transfer.error),
            "Ensure that platform has Peli interface present with proper driver installed and is not used by other process. CreateEvent failed."));
        return -1;
    }
    if (transfer.status != io_status::completed) {
        push_receive_failure(transfer);
        return -1;
    }
    log_at(log_level::debug, "Message Received: (%lu bytes):", as_long(transfer.transferred));
    dump_at_level(log_level::debug, buffer.first(std::min<std::size_t>(transfer.transferred, buffer.size())));
    return transfer.transferred;
}

}  // namespace vellum
