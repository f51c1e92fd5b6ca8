#include "platform/recorded/tpm_library.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>

#include "platform/recorded/pcr_read_answer.h"

namespace vellum {
namespace {

constexpr std::string_view library_name = "tbs.dll";
constexpr std::uintmax_t max_log_size = 256U * 1024 * 1024;  // bytes

bool is_there(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

// Fills the buffer with the beginning of the file; false when the file has less.
bool read_bytes(const std::filesystem::path& path, std::span<std::uint8_t> out) {
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(out.size()));
    return static_cast<bool>(file);
}

// The first line, without the line end of either kind.
bool read_line(const std::filesystem::path& path, std::string& out) {
    std::ifstream file(path);
    if (!std::getline(file, out)) {
        return false;
    }
    if (out.ends_with('\r')) {
        out.pop_back();
    }
    return true;
}

bool read_pcrs(const std::filesystem::path& path, recorded_pcrs& out) {
    std::error_code error;
    if (std::filesystem::file_size(path, error) != sizeof(out) || error) {
        return false;
    }
    std::vector<std::uint8_t> bytes(sizeof(out));
    if (!read_bytes(path, bytes)) {
        return false;
    }
    byte_reader reader(bytes);
    return std::all_of(out.begin(), out.end(), [&reader](auto& value) { return reader.copy(value); });
}

}  // namespace

tbs::result_code recorded_tbs_service::tpm_version(std::uint32_t& out) {
    const std::filesystem::path path = folder_ / "version";
    std::string line;
    if (!is_there(path)) {
        out = tbs::tpm_version_20;
    } else if (read_line(path, line) && (line == "1" || line == "2")) {
        out = line == "1" ? tbs::tpm_version_12 : tbs::tpm_version_20;
    } else {
        return tbs::service_not_running;
    }
    return tbs::success;
}

tbs::result_code recorded_tbs_service::open_context() {
    const std::filesystem::path path = folder_ / "tcti";
    if (!is_there(path)) {
        return tbs::success;
    }
    std::string configuration;
    if (!read_line(path, configuration)) {
        return tbs::service_not_running;
    }
    channel_ = open_tpm_channel(configuration);
    return channel_ != nullptr ? tbs::success : tbs::tpm_not_found;
}

tbs::result_code recorded_tbs_service::close_context() {
    channel_.reset();
    return tbs::success;
}

tbs::result_code recorded_tbs_service::read_log(std::vector<std::uint8_t>& out) {
    const std::filesystem::path path = folder_ / "event_log.bin";
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size > max_log_size) {
        return tbs::service_not_running;
    }
    out.resize(static_cast<std::size_t>(size));
    return read_bytes(path, out) ? tbs::success : tbs::service_not_running;
}

tbs::result_code recorded_tbs_service::submit(byte_view command, std::span<std::uint8_t> response,
                                              std::size_t& received) {
    if (channel_ != nullptr) {
        return channel_->exchange(command, response, received);
    }
    recorded_pcrs pcrs{};
    if (!read_pcrs(folder_ / "pcrs.bin", pcrs)) {
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

recorded_tpm_library::recorded_tpm_library(const std::string& device)
    : folder_(std::filesystem::path(device) / "tpm"), service_(folder_) {}

bool recorded_tpm_library::load(const char* name, std::uint32_t) {
    std::error_code error;
    loaded_ = name == library_name && std::filesystem::is_directory(folder_, error);
    if (loaded_) {
        bind_tbs_service(&service_);
    } else {
        errno = ENOENT;
    }
    return loaded_;
}

void* recorded_tpm_library::function(const char* name) {
    const bool withheld = std::string_view(name) == tbs::get_tcg_log_ex_name && is_there(folder_ / "no_log_ex");
    return loaded_ && !withheld ? tbs_function(name) : nullptr;
}

void recorded_tpm_library::unload() {
    if (loaded_) {
        static_cast<void>(service_.close_context());
        bind_tbs_service(nullptr);
        loaded_ = false;
    }
}

std::optional<std::string> recorded_tpm_library::system_directory() {
    return folder_.string();
}

}  // namespace vellum
