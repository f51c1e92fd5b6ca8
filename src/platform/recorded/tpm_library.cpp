#include "platform/recorded/tpm_library.h"

#include <algorithm>
#include <string_view>

#include "base/path.h"
#include "platform/bounded_file.h"
#include "platform/recorded/system_errors.h"

namespace vellum {
namespace {

constexpr std::uint64_t max_line_file_size = 4096;  // bytes

bool is_there(const record_directory& record, const char* name) {
    std::error_code error;
    return std::filesystem::exists(path_of(record.path(name)), error);
}

// The first line, without the line end of either kind; false for a file that cannot be read.
[[nodiscard]] bool read_line(const record_directory& record, const char* name, std::string& out) {
    if (!ok(record.read_bounded(name, max_line_file_size, out))) {
        return false;
    }
    out.resize(std::min(out.find_first_of("\r\n"), out.size()));
    return true;
}

[[nodiscard]] bool read_pcrs(const record_directory& record, recorded_pcrs& out) {
    std::vector<std::uint8_t> bytes;
    if (!ok(record.read_bounded("tpm/pcrs.bin", sizeof(out), bytes)) || bytes.size() != sizeof(out)) {
        return false;
    }
    byte_reader reader(bytes);
    return std::all_of(out.begin(), out.end(), [&reader](auto& value) { return reader.copy(value); });
}

}  // namespace

bool may_be_recorded(std::string_view tcti_configuration) {
    constexpr std::string_view device = "device:/dev/tpm";
    if (tcti_configuration.starts_with(device)) {
        return tcti_configuration.find('/', device.size()) == tcti_configuration.npos;
    }
    return tcti_configuration.starts_with("swtpm:") || tcti_configuration.starts_with("mssim:");
}

tbs::result_code recorded_tbs_service::tpm_version(std::uint32_t& out) {
    constexpr const char* name = "tpm/version";
    std::string line;
    if (!is_there(record_, name)) {
        out = tbs::tpm_version_20;
    } else if (read_line(record_, name, line) && (line == "1" || line == "2")) {
        out = line == "1" ? tbs::tpm_version_12 : tbs::tpm_version_20;
    } else {
        return tbs::service_not_running;
    }
    return tbs::success;
}

tbs::result_code recorded_tbs_service::open_context() {
    constexpr const char* name = "tpm/tcti";
    if (held_pcrs_ || !is_there(record_, name)) {
        return tbs::success;
    }
    std::string configuration;
    if (!read_line(record_, name, configuration)) {
        return tbs::service_not_running;
    }
    channel_ = may_be_recorded(configuration) ? open_tpm_channel(configuration, problem_) : nullptr;
    return channel_ != nullptr ? tbs::success : tbs::tpm_not_found;
}

tbs::result_code recorded_tbs_service::close_context() {
    channel_.reset();
    return tbs::success;
}

tbs::result_code recorded_tbs_service::read_log(std::vector<std::uint8_t>& out) {
    const bool read = ok(record_.read_bounded("tpm/event_log.bin", tbs::max_log_size, out));
    return read ? tbs::success : tbs::service_not_running;
}

tbs::result_code recorded_tbs_service::submit(byte_view command, std::span<std::uint8_t> response,
                                              std::size_t& received) {
    if (channel_ != nullptr) {
        return channel_->exchange(command, response, received);
    }
    recorded_pcrs pcrs = held_pcrs_.value_or(recorded_pcrs());
    if (!held_pcrs_ && !read_pcrs(record_, pcrs)) {
        return tbs::service_not_running;
    }
    const std::vector<std::uint8_t> answer = answer_pcr_read(command, pcrs);
    received = answer.size();
    if (answer.size() > response.size()) {
        return tbs::insufficient_buffer;
    }
    std::copy(answer.begin(), answer.end(), response.begin());
    return tbs::success;
}

os_status recorded_tpm_library::load(const char* name, std::uint32_t) {
    std::error_code error;
    loaded_ = std::string_view(name) == tbs::library_name &&
              std::filesystem::is_directory(path_of(record_.path("tpm")), error);
    if (loaded_) {
        bind_tbs_service(&service_);
    }
    return loaded_ ? os_status::success : recorded_not_found;
}

os_status recorded_tpm_library::function(const char* name, void*& address) {
    const bool withheld = std::string_view(name) == tbs::get_tcg_log_ex_name && is_there(record_, "tpm/no_log_ex");
    address = loaded_ && !withheld ? tbs_function(name) : nullptr;
    return address != nullptr ? os_status::success : recorded_not_found;
}

void recorded_tpm_library::unload() {
    if (loaded_) {
        static_cast<void>(service_.close_context());
        bind_tbs_service(nullptr);
        loaded_ = false;
    }
}

os_status recorded_tpm_library::system_directory(std::string& out) {
    out = record_.path("tpm");
    return os_status::success;
}

}  // namespace vellum
