#include <array>
#include <optional>

#include "firmware/peli.h"
#include "lab/byte_builder.h"
#include "lab/capture.h"
#include "platform/recorded/firmware_device.h"

namespace vellum::lab {
namespace {

constexpr int max_list_fetches = 4;
constexpr std::uint32_t request_header_version = 1;

const char* name_of(io_status status) {
    switch (status) {
        case io_status::completed: return "completed";
        case io_status::no_event: return "the event cannot be created";
        case io_status::not_started: return "the call failed";
        case io_status::timed_out: return "timed out";
        case io_status::wait_abandoned: return "the wait was abandoned";
        case io_status::wait_failed: return "the wait failed";
        case io_status::not_collected: return "the transfer failed";
        case io_status::no_such_client: return "the firmware client does not exist";
    }
    return "";
}

// The path of the first interface device.
std::optional<std::string> find_device(const platform& machine, record_writer& out) {
    for (int fetch = 0; fetch < max_list_fetches; ++fetch) {
        std::uint32_t characters = 0;
        std::vector<std::string> paths;
        std::uint32_t code = machine.firmware.list_size(peli::interface_class, characters);
        if (code == 0 && characters > 1) {
            code = machine.firmware.list(peli::interface_class, characters, paths);
        }
        if (code != 0 && code != firmware_device::list_buffer_small) {
            out.problem("firmware", "the interface devices cannot be listed, code " + std::to_string(code));
            return std::nullopt;
        }
        if (code == 0) {
            if (paths.empty()) {
                out.problem("firmware", "no interface device is present");
                return std::nullopt;
            }
            return paths.front();
        }
    }
    out.problem("firmware", "the list of interface devices does not come to rest");
    return std::nullopt;
}

// The device, open and, unless the status says otherwise, connected. Each command has a connection of its own, so
// that no late response passes for the response to another command.
class connection {
  public:
    connection(const platform& machine, const std::string& path)
        : device_(machine.firmware), open_(device_.open(path)) {}
    ~connection() {
        if (open_) {
            static_cast<void>(device_.close());
        }
    }
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    bool open() const { return open_; }

    io_status driver_version(std::string& text) {
        std::array<std::uint8_t, peli::version_size> version{};
        const io_result asked = device_.control(peli::get_version_code, {}, version, peli_timeout_ms);
        const unsigned build = version[peli::version_build_offset] + 256U * version[peli::version_build_offset + 1];
        text = std::to_string(version[peli::version_major_offset]) + "." +
               std::to_string(version[peli::version_minor_offset]) + "." +
               std::to_string(version[peli::version_hotfix_offset]) + "." + std::to_string(build) + "\n";
        return complete(asked, peli::version_size);
    }

    io_status connect(std::uint32_t& max_message_length) {
        std::array<std::uint8_t, peli::client_properties_size> properties{};
        const io_result asked =
            device_.control(peli::connect_client_code, peli::client_identifier, properties, peli_timeout_ms);
        byte_reader reader(properties);
        const bool read = reader.skip(peli::max_message_length_offset) && reader.u32_le(max_message_length);
        return read ? complete(asked, reader.position()) : io_status::not_collected;
    }

    io_status exchange(firmware_command command, std::vector<std::uint8_t>& response) {
        const std::vector<std::uint8_t> request = byte_builder()
                                                      .u32_le(request_header_version)
                                                      .u32_le(static_cast<std::uint32_t>(command))
                                                      .u32_le(0)
                                                      .take();
        const io_result written = device_.write(request, peli_timeout_ms);
        if (complete(written, request.size()) != io_status::completed) {
            return complete(written, request.size());
        }
        const io_result read = device_.read(response, peli_timeout_ms);
        // A faulty driver may report more than there was room for.
        const bool fits = read.status == io_status::completed && read.transferred <= response.size();
        response.resize(fits ? read.transferred : 0);
        return fits || read.status != io_status::completed ? read.status : io_status::not_collected;
    }

  private:
    // A transfer that ends short of what is needed has failed.
    static io_status complete(const io_result& transfer, std::size_t needed) {
        const bool is_short = transfer.status == io_status::completed && transfer.transferred < needed;
        return is_short ? io_status::not_collected : transfer.status;
    }

    firmware_device& device_;
    bool open_;
};

// Records the driver and the client; the longest message, or nothing when there is no client to talk to.
std::optional<std::uint32_t> capture_client(const platform& machine, const std::string& path, record_writer& out) {
    connection first(machine, path);
    if (!first.open()) {
        out.system_problem("firmware", machine.errors.last());
        return std::nullopt;
    }
    std::string version;
    io_status status = first.driver_version(version);
    if (status != io_status::completed) {
        out.problem("firmware/driver_version", name_of(status));
        return std::nullopt;
    }
    out.write("firmware/driver_version", version);
    std::uint32_t length = 0;
    status = first.connect(length);
    if (status == io_status::no_such_client) {
        out.write("firmware/client_absent", "");
    } else if (status != io_status::completed) {
        out.problem("firmware/max_message_length", name_of(status));
    } else {
        out.write("firmware/max_message_length", std::to_string(length) + "\n");
        return length;
    }
    return std::nullopt;
}

void capture_response(const platform& machine, const std::string& path, std::uint32_t length,
                      recorded_response wanted, record_writer& out) {
    connection own(machine, path);
    std::uint32_t ignored = 0;
    std::vector<std::uint8_t> response(std::min(length, peli_longest_message));
    io_status status = own.open() ? own.connect(ignored) : io_status::not_started;
    if (status == io_status::completed) {
        status = own.exchange(wanted.command, response);
    }
    if (status == io_status::completed) {
        out.write(wanted.file, response);
    } else {
        out.problem(wanted.file, name_of(status));
    }
}

}  // namespace

void capture_firmware(const platform& machine, record_writer& out) {
    const std::optional<std::string> path = find_device(machine, out);
    const std::optional<std::uint32_t> length = path ? capture_client(machine, *path, out) : std::nullopt;
    if (!length) {
        return;
    }
    // The command that deactivates the feature must never be sent here.
    for (const recorded_response& wanted : recorded_responses) {
        if (wanted.command != firmware_command::FEATURE_DEACTIVATE) {
            capture_response(machine, *path, *length, wanted, out);
        }
    }
}

}  // namespace vellum::lab
