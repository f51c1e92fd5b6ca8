#include "platform/linux/tpm_library.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>

#include "platform/bounded_file.h"
#include "platform/last_status.h"
#include "platform/linux/block_devices.h"
#include "platform/linux/descriptor.h"

namespace vellum {
namespace {

constexpr const char* library_directory = "/usr/lib";

constexpr const char* version_path = "/sys/class/tpm/tpm0/tpm_version_major";
constexpr const char* log_path = "/sys/kernel/security/tpm0/binary_bios_measurements";
constexpr const char* device_path = "/dev/tpmrm0";

// Whether the device can be opened at all: the stack does not say why it fails.
[[nodiscard]] bool reach_device(tbs::result_code& code, std::optional<tpm_obstacle>& obstacle) {
    const descriptor device(::open(device_path, O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (device.valid()) {
        return true;
    }
    const os_status reason = last_status();
    code = reason == os_status(ENOENT) ? tbs::tpm_not_found : tbs::io_error;
    obstacle = {.text = std::string("Cannot open TPM device \"") + device_path + "\".", .reason = reason};
    return false;
}

}  // namespace

// A kernel that does not tell the version, and a machine without a TPM, get their answer from the context.
tbs::result_code linux_tbs_service::tpm_version(std::uint32_t& out) {
    out = read_device_number(version_path) == 1 ? tbs::tpm_version_12 : tbs::tpm_version_20;
    return tbs::success;
}

tbs::result_code linux_tbs_service::open_context() {
    tbs::result_code code = tbs::success;
    if (!reach_device(code, obstacle_)) {
        return code;
    }
    std::string unsaid;
    channel_ = open_tpm_channel(std::string("device:") + device_path, unsaid);
    return channel_ != nullptr ? tbs::success : tbs::io_error;
}

tbs::result_code linux_tbs_service::close_context() {
    channel_.reset();
    return tbs::success;
}

tbs::result_code linux_tbs_service::read_log(std::vector<std::uint8_t>& out) {
    const file_read read = read_bounded(log_path, tbs::max_log_size, out);
    if (ok(read)) {
        return tbs::success;
    }
    obstacle_ = {.path = log_path, .read = read, .limit = tbs::max_log_size};
    return tbs::io_error;
}

tbs::result_code linux_tbs_service::submit(byte_view command, std::span<std::uint8_t> response,
                                           std::size_t& received) {
    return channel_ != nullptr ? channel_->exchange(command, response, received) : tbs::io_error;
}

os_status linux_tpm_library::load(const char* name, std::uint32_t) {
    loaded_ = std::string_view(name) == tbs::library_name;
    if (loaded_) {
        bind_tbs_service(&service_);
    }
    return loaded_ ? os_status::success : os_status(ENOENT);
}

os_status linux_tpm_library::function(const char* name, void*& address) {
    address = loaded_ ? tbs_function(name) : nullptr;
    return address != nullptr ? os_status::success : os_status(ENOENT);
}

void linux_tpm_library::unload() {
    if (loaded_) {
        static_cast<void>(service_.close_context());
        bind_tbs_service(nullptr);
        loaded_ = false;
    }
}

os_status linux_tpm_library::system_directory(std::string& out) {
    out = library_directory;
    return os_status::success;
}

}  // namespace vellum
