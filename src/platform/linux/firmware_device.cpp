#include "platform/linux/firmware_device.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/last_status.h"

namespace vellum {
namespace {

using steady = std::chrono::steady_clock;

// The least size of the buffer that the driver is given, in bytes: room for properties that this program ignores.
constexpr std::size_t min_control_buffer = 256;

// The list of interfaces is a sequence of terminated paths with one more terminator at its end.
constexpr std::uint32_t terminators = 2;

// The driver's answer to a connect request for a client that it does not have. It has answered the version request
// by then, so that the number cannot mean that the descriptor is no device of this driver.
bool says_no_such_client(std::uint32_t code, const io_result& outcome) {
    return code == peli::connect_client_code && outcome.status != io_status::completed &&
           outcome.error == os_status(ENOTTY);
}

int milliseconds_until(steady::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT32_MAX));
}

// Waits until the descriptor is ready for the events.
io_status wait_ready(int file, short events, steady::time_point deadline) {
    while (true) {
        pollfd waited{file, events, 0};
        const int ready = ::poll(&waited, 1, milliseconds_until(deadline));
        if (ready > 0) {
            return io_status::completed;
        }
        if (ready == 0) {
            errno = ETIMEDOUT;
            return io_status::timed_out;
        }
        if (errno != EINTR) {
            return io_status::wait_failed;
        }
    }
}

// Gives way for a moment when the device says that it is ready and then is not.
void pause_briefly() {
    ::poll(nullptr, 0, 1);
}

// Repeats the call, which returns a byte count or -1, until it does not ask to be repeated or the time is up.
template <typename Call>
io_result complete(int file, short events, std::uint32_t timeout_ms, const transfer_steps& steps, Call call) {
    steps.starting();
    const auto deadline = steady::now() + std::chrono::milliseconds(timeout_ms);
    io_result outcome;
    while (true) {
        const auto count = call();
        if (count >= 0) {
            outcome.transferred = static_cast<std::uint32_t>(count);
            return outcome;
        }
        if (errno != EAGAIN && errno != EINTR) {
            outcome.status = outcome.pending ? io_status::not_collected : io_status::not_started;
            break;
        }
        if (outcome.pending) {
            pause_briefly();
        } else {
            steps.waiting();
        }
        outcome.pending = true;
        outcome.status = wait_ready(file, events, deadline);
        if (outcome.status == io_status::completed && steady::now() >= deadline) {
            errno = ETIMEDOUT;
            outcome.status = io_status::timed_out;
        }
        if (outcome.status != io_status::completed) {
            break;
        }
    }
    outcome.error = last_status();
    return outcome;
}

}  // namespace

void linux_firmware_device::adopt(int open_descriptor) {
    descriptor_ = descriptor(open_descriptor);
    const int flags = ::fcntl(open_descriptor, F_GETFL);
    if (flags >= 0) {
        ::fcntl(open_descriptor, F_SETFL, flags | O_NONBLOCK);
    }
}

found_interfaces linux_firmware_device::interfaces(const class_guid&, const interface_steps& steps) {
    if (::access(path_.c_str(), F_OK) != 0) {
        return {};
    }
    steps.sized(static_cast<std::uint32_t>(path_.size()) + terminators);
    return {interface_search::done, 0, {path_}};
}

os_status linux_firmware_device::open(const std::string& path) {
    descriptor_ = descriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    return descriptor_.valid() ? os_status::success : last_status();
}

os_status linux_firmware_device::close() {
    return descriptor_.close() ? os_status::success : last_status();
}

io_result linux_firmware_device::control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output,
                                         std::uint32_t timeout_ms, const transfer_steps& steps) {
    std::vector<std::uint8_t> exchanged(std::max({input.size(), output.size(), min_control_buffer}));
    std::copy(input.begin(), input.end(), exchanged.begin());
    const int file = descriptor_.get();
    io_result outcome =
        complete(file, POLLIN | POLLOUT, timeout_ms, steps, [&] { return ::ioctl(file, code, exchanged.data()); });
    if (outcome.status == io_status::completed) {
        std::copy_n(exchanged.begin(), output.size(), output.begin());
        outcome.transferred = static_cast<std::uint32_t>(output.size());
    } else if (says_no_such_client(code, outcome)) {
        outcome.status = io_status::no_such_client;
    }
    return outcome;
}

io_result linux_firmware_device::write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) {
    const int file = descriptor_.get();
    return complete(file, POLLOUT, timeout_ms, steps, [&] { return ::write(file, message.data(), message.size()); });
}

io_result linux_firmware_device::read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms,
                                      const transfer_steps& steps) {
    const int file = descriptor_.get();
    return complete(file, POLLIN, timeout_ms, steps, [&] { return ::read(file, buffer.data(), buffer.size()); });
}

}  // namespace vellum
