#include "firmware/firmware_link.h"

#include <algorithm>
#include <array>
#include <exception>
#include <initializer_list>
#include <string>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/os_error.h"
#include "platform/firmware_device.h"

namespace vellum {
namespace {

constexpr std::int32_t ioctl_success = 5;
constexpr std::int32_t ioctl_client_absent = -4;
constexpr std::int32_t ioctl_failed = -1;

constexpr std::uint32_t min_message_length = 1;

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

struct search_steps final : interface_steps {
    void sized(std::uint32_t characters) const override {
        log_at(log_level::debug, "DeviceInterface List size is: %lu", as_long(characters));
    }
    void outdated() const override {
        log_at(
            log_level::warning,
            "Mismatch between device list size and its content. Retrying to check if any new device were added during runtime");
    }
};

// Says why there is no interface to open; false then.
[[nodiscard]] bool has_interface(const found_interfaces& found) {
    switch (found.how) {
        case interface_search::done:
            if (found.paths.empty()) {
                report("firmware-interface-absent"_id, "No active device interfaces.");
            }
            return !found.paths.empty();
        case interface_search::size_unknown:
            report(
                "firmware-interface-list-size"_id,
                "Cannot fetch the buffer size of Peli devices. Command CM_Get_Device_Interface_List_size failed with error: %lu.",
                as_long(found.code))
                .field("os_error", found.code);
            break;
        case interface_search::not_listed:
            report(
                "firmware-interface-list"_id,
                "Cannot fetch list of device interfaces. Command CM_Get_Device_Interface_List failed with error : %lu.",
                as_long(found.code))
                .field("os_error", found.code);
            break;
        case interface_search::kept_growing:
            report("firmware-interface-list-grows"_id,
                   "The list of device interfaces kept growing while it was fetched.");
            break;
        case interface_search::no_memory:
            report("firmware-interface-list-memory"_id,
                   "Error allocating memory for device interface list. Deinitializing Peli connection.");
            break;
    }
    return false;
}

// Says why the wait for a transfer ended without it; false when the wait is not what failed.
bool report_wait_failure(const io_result& transfer) {
    if (transfer.status == io_status::wait_abandoned) {
        report("firmware-wait-abandoned"_id, "Waiting for object was abandoned.");
        return true;
    }
    if (transfer.status == io_status::wait_failed) {
        report("firmware-wait-failed"_id, "WaitForSingleObject failed.").system_error(transfer.error);
        return true;
    }
    return false;
}

void report_write_timeout() {
    report("firmware-write-timeout"_id, "Timeout occurred (%lums) while writing to Peli interface.",
           as_long(peli_timeout_ms))
        .field("limit", peli_timeout_ms);
}

void report_control_failure(const io_result& transfer) {
    switch (transfer.status) {
        case io_status::not_started:
            report("firmware-control-refused"_id, "DeviceIoControl function call failed.")
                .system_error(transfer.error);
            break;
        case io_status::timed_out: report_write_timeout(); break;
        case io_status::not_collected:
            report("firmware-control-unfinished"_id, "GetOverlappedResult function call failed.")
                .system_error(transfer.error);
            break;
        default: report_wait_failure(transfer); break;
    }
}

void report_send_failure(const io_result& transfer) {
    if (transfer.status == io_status::no_event) {
        report("firmware-write-event"_id, "Cannot create write event. CreateEvent function failed.")
            .system_error(transfer.error);
    } else if (transfer.status == io_status::timed_out) {
        report_write_timeout();
    } else if (transfer.status == io_status::not_collected) {
        report("firmware-write-unfinished"_id, "GetOverlappedResult failed. Write function failed to finish.")
            .system_error(transfer.error);
    } else if (!report_wait_failure(transfer)) {
        report("firmware-write-failed"_id, "Write to device failed.").system_error(transfer.error);
    }
}

void report_receive_failure(const io_result& transfer) {
    if (transfer.status == io_status::no_event) {
        report(
            "firmware-read-event"_id,
            "Ensure that platform has Peli interface present with proper driver installed and is not used by other process. CreateEvent failed.")
            .system_error(transfer.error);
    } else if (transfer.status == io_status::timed_out) {
        report("firmware-read-timeout"_id, "Timeout occurred (%lums) while reading from Peli interface.",
               as_long(peli_timeout_ms))
            .field("limit", peli_timeout_ms);
    } else if (transfer.status == io_status::not_collected) {
        report("firmware-read-unfinished"_id, "ReadFile failed to finish.").system_error(transfer.error);
    } else if (!report_wait_failure(transfer)) {
        report("firmware-read-failed"_id, "ReadFile failed.").system_error(transfer.error);
    }
}

[[nodiscard]] bool read_driver_version(byte_view answer, peli_driver_version& out) {
    byte_reader reader(answer);
    return reader.u8(out.major) && reader.u8(out.minor) && reader.u8(out.hotfix) && reader.u16_le(out.build);
}

[[nodiscard]] bool check_message_length(std::uint32_t length) {
    if (length >= min_message_length && length <= peli_longest_message) {
        return true;
    }
    report("firmware-message-length-invalid"_id,
           "The maximum message length of the Peli client is invalid: %lu bytes, expected size in range <%lu-%lu>.",
           as_long(length), as_long(min_message_length), as_long(peli_longest_message))
        .field("size", length)
        .field("limit", peli_longest_message);
    return false;
}

}  // namespace

firmware_link::~firmware_link() {
    try {
        close();
    } catch (const std::exception&) {
        device_ = nullptr;  // the device closes itself, unsaid
    }
}

result firmware_link::open(firmware_device& device) {
    peli_facts facts;
    return open(device, facts);
}

result firmware_link::open(firmware_device& device, peli_facts& facts) {
    close();
    facts = peli_facts();
    if (!open_device(device)) {
        report(
            "firmware-link-closed"_id,
            "Unable to initialize PELI connection. Make sure that the appropriate Norvane Orbis driver is installed and have the right admin privileges.");
        return result::transport_failure;
    }
    if (!take_control(facts) || !connect_client(facts)) {
        close_device();
        return result::transport_failure;
    }
    const peli_driver_version& version = *facts.driver;
    log_at(log_level::debug, "Initialization successful with Peli driver version: %d.%d.%d.%d", version.major,
           version.minor, version.hotfix, version.build);
    log_at(log_level::debug, "Peli interface opened successfully.");
    log_at(log_level::debug, "PELI connection established");
    connected_ = true;
    return result::success;
}

bool firmware_link::open_device(firmware_device& device) {
    const found_interfaces found = device.interfaces(peli::interface_class, search_steps());
    if (!has_interface(found)) {
        return false;
    }
    if (const os_status opened = device.open(found.paths.front()); !ok(opened)) {
        report("firmware-interface-not-opened"_id, "Error creating device handle.")
            .field("file", found.paths.front())
            .line(
                "Error opening Peli interface. Ensure that platform has Peli interface present with proper driver installed. CreateFile function failed.")
            .system_error(opened);
        return false;
    }
    device_ = &device;
    return true;
}

// One device control request: 5 on success, -4 when the driver answers that the client does not exist, another value
// on failure. `output` is cut to what the driver wrote.
std::int32_t firmware_link::control(std::uint32_t code, byte_view input, std::span<std::uint8_t>& output) {
    log_at(log_level::debug, "Creating empty event to begin IO control overtake.");
    const io_result transfer = device_->control(code, input, output, peli_timeout_ms, control_steps());
    if (transfer.status == io_status::no_event) {
        report("firmware-control-event"_id, "Aborting Peli initialization.")
            .line("Cannot create IO event. CreateEvent function failed.")
            .system_error(transfer.error);
        return ioctl_failed;
    }
    if (transfer.status == io_status::no_such_client) {
        return ioctl_client_absent;
    }
    if (transfer.status != io_status::completed) {
        report_control_failure(transfer);
        return ioctl_failed;
    }
    log_at(log_level::debug, "Successfully communicated with Orbis Engine Interface.");
    output = output.first(std::min<std::size_t>(transfer.transferred, output.size()));
    return ioctl_success;
}

bool firmware_link::take_control(peli_facts& facts) {
    log_at(log_level::debug, "Calling _doIoctl command: IOCTL_PELI_GET_VERSION (0x%lx)",
           as_long(peli::get_version_code));
    std::array<std::uint8_t, peli::version_size> buffer{};
    std::span<std::uint8_t> output(buffer);
    bool taken = control(peli::get_version_code, {}, output) == ioctl_success;
    if (taken && !read_driver_version(output, facts.driver.emplace())) {
        facts.driver.reset();
        report("firmware-driver-version-incomplete"_id, "The Peli driver version is incomplete. Received %zu bytes.",
               output.size())
            .field("size", output.size())
            .field("expected", peli::version_size);
        taken = false;
    }
    if (!taken) {
        report("firmware-control-not-taken"_id,
               "Could not take over IO Control to Peli interface. Check if it is not used by other process.");
        return false;
    }
    log_at(log_level::debug, "Succesfully taken IO Control of Peli device");
    return true;
}

bool firmware_link::connect_client(peli_facts& facts) {
    log_at(log_level::debug, "Calling _doIoctl command: IOCTL_PELI_CONNECT_CLIENT (0x%lx)",
           as_long(peli::connect_client_code));
    std::array<std::uint8_t, peli::client_properties_size> buffer{};
    std::span<std::uint8_t> output(buffer);
    const std::int32_t answer = control(peli::connect_client_code, peli::client_identifier, output);
    facts.client_absent = answer == ioctl_client_absent;
    if (facts.client_absent) {
        report(
            "firmware-client-absent"_id,
            "Unable to initialize connection to KVR Feature. Make sure that Norvane(R) KVR feature is enabled on the platform.");
    }
    if (answer != ioctl_success) {
        return false;
    }
    std::uint32_t length = 0;
    if (!byte_reader(output).u32_le(length)) {
        report("firmware-client-properties-incomplete"_id,
               "The Peli client properties are incomplete. Received %zu bytes.", output.size())
            .field("size", output.size())
            .field("expected", peli::client_properties_size);
        return false;
    }
    if (!check_message_length(length)) {
        return false;
    }
    max_message_length_ = length;
    return true;
}

void firmware_link::close() {
    const bool was_connected = connected_;
    close_device();
    if (was_connected) {
        log_at(log_level::debug, "PELI connection deinitialized");
    }
}

void firmware_link::close_device() {
    if (device_ == nullptr) {
        return;
    }
    log_at(log_level::debug, "Peli deinitialization...");
    log_at(log_level::debug, "Closing device handle...");
    if (const os_status closed = device_->close(); ok(closed)) {
        log_at(log_level::debug, "Device handle closed successfully.");
    } else {
        log_at(log_level::error, "CloseHandle failed. Error: %s", os_error_text(closed).c_str());
    }
    log_at(log_level::debug, "Peli deinitialized.");
    device_ = nullptr;
    max_message_length_ = 0;
    connected_ = false;
}

std::int64_t firmware_link::send(byte_view message) {
    if (!connected_) {
        report("firmware-send-unconnected"_id, "Error while sending message. Peli connection not initialized.");
        return -1;
    }
    log_at(log_level::debug, "Sending Message of len %lu... ", as_long(message.size()));
    const io_result transfer = device_->write(message, peli_timeout_ms, write_steps());
    if (transfer.status != io_status::completed) {
        report_send_failure(transfer);
        return -1;
    }
    log_at(log_level::debug, "Message sent: %lu of %lu bytes", as_long(transfer.transferred),
           as_long(message.size()));
    return transfer.transferred;
}

std::int64_t firmware_link::receive(std::span<std::uint8_t> buffer) {
    if (!connected_) {
        report("firmware-receive-unconnected"_id, "Error while receiving message. Peli connection not initialized.");
        return -1;
    }
    log_at(log_level::debug, "Receiving Message... (max buffer size allocated for message: %lu bytes)",
           as_long(buffer.size()));
    const io_result transfer = device_->read(buffer, peli_timeout_ms, read_steps());
    if (transfer.status != io_status::completed) {
        report_receive_failure(transfer);
        return -1;
    }
    log_at(log_level::debug, "Message Received: (%lu bytes):", as_long(transfer.transferred));
    dump_at_level(log_level::debug, buffer.first(std::min<std::size_t>(transfer.transferred, buffer.size())));
    return transfer.transferred;
}

}  // namespace vellum
