#include <cstdio>

#include "platform/tbs.h"
#include "report/capture.h"
#include "tpm/tbs/pcr_read.h"

namespace vellum::reporting {
namespace {

// The service's functions by their own types.
class service {
  public:
    explicit service(tpm_library& library) : library_(library) {}
    ~service() {
        const auto close = function<tbs::context_close>(tbs::context_close_name);
        if (context_ != nullptr && close != nullptr) {
            close(context_);
        }
        library_.unload();
    }
    service(const service&) = delete;
    service& operator=(const service&) = delete;

    template <typename Function>
    Function function(const char* name) const {
        void* address = nullptr;
        return ok(library_.function(name, address)) ? reinterpret_cast<Function>(address) : nullptr;
    }

    tbs::result_code version(std::uint32_t& out) const {
        const auto get = function<tbs::get_device_info>(tbs::get_device_info_name);
        tbs::device_info info{};
        const tbs::result_code asked = get != nullptr ? get(sizeof(info), &info) : tbs::internal_error;
        out = info.tpm_version;
        return asked;
    }

    tbs::result_code open() {
        const auto create = function<tbs::context_create>(tbs::context_create_name);
        const tbs::context_parameters parameters{tbs::context_version_two, tbs::include_tpm_20};
        return create != nullptr ? create(&parameters, &context_) : tbs::internal_error;
    }

    bool has_log_ex() const { return function<tbs::get_tcg_log_ex>(tbs::get_tcg_log_ex_name) != nullptr; }

    tbs::result_code log(std::uint8_t* buffer, std::uint32_t& size) const {
        if (has_log_ex()) {
            return function<tbs::get_tcg_log_ex>(tbs::get_tcg_log_ex_name)(tbs::log_srtm_current, buffer, &size);
        }
        const auto get = function<tbs::get_tcg_log>(tbs::get_tcg_log_name);
        return get != nullptr ? get(context_, buffer, &size) : tbs::internal_error;
    }

    tbs::result_code submit(byte_view command, std::vector<std::uint8_t>& response) const {
        const auto send = function<tbs::submit_command>(tbs::submit_command_name);
        response.resize(pcr_read_response_limit);
        auto size = static_cast<std::uint32_t>(response.size());
        const tbs::result_code sent = send != nullptr
                                          ? send(context_, tbs::locality_zero, tbs::priority_normal, command.data(),
                                                 static_cast<std::uint32_t>(command.size()), response.data(), &size)
                                          : tbs::internal_error;
        response.resize(sent == tbs::success ? std::min<std::size_t>(size, pcr_read_response_limit) : 0);
        return sent;
    }

  private:
    tpm_library& library_;
    tbs::context_handle context_ = nullptr;
};

void tbs_problem(const std::string& subject, tbs::result_code code, record_writer& out) {
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "0x%08x", code);
    out.problem(subject, std::string("the TPM service answers ") + digits.data());
}

void capture_pcrs(const service& tpm, record_writer& out) {
    pcr_value_list values{};
    std::size_t copied = 0;
    for (std::size_t pass = 0; pass < pcr_read_passes; ++pass) {
        std::vector<std::uint8_t> response;
        const tbs::result_code sent = tpm.submit(pcr_read_command(pass), response);
        if (sent != tbs::success) {
            tbs_problem("tpm/pcrs.bin", sent, out);
            return;
        }
        const bool read = read_pcr_response(response, pass, copied, values) == hresult::success;
        if (!read || copied != (pass + 1) * pcrs_per_read * sizeof(pcr_value)) {
            out.problem("tpm/pcrs.bin", "the TPM does not give the values of eight PCRs of its SHA-256 bank");
            return;
        }
    }
    std::vector<std::uint8_t> file;
    for (const pcr_value& value : values) {
        file.insert(file.end(), value.begin(), value.end());
    }
    out.write("tpm/pcrs.bin", file);
}

void capture_log(const service& tpm, record_writer& out) {
    std::uint32_t size = 0;
    tbs::result_code asked = tpm.log(nullptr, size);
    if (asked == tbs::success && (size == 0 || size > tbs::max_log_size)) {
        out.problem("tpm/event_log.bin", "the log has " + std::to_string(size) + " bytes");
        return;
    }
    std::vector<std::uint8_t> log(asked == tbs::success ? size : 0);
    if (asked == tbs::success) {
        asked = tpm.log(log.data(), size);
    }
    if (asked != tbs::success) {
        tbs_problem("tpm/event_log.bin", asked, out);
        return;
    }
    log.resize(std::min<std::size_t>(log.size(), size));
    out.write("tpm/event_log.bin", log);
}

}  // namespace

void capture_tpm(const platform& machine, record_writer& out) {
    const os_status loaded = machine.tpm.load(tbs::library_name, tbs::search_system_directory);
    if (!ok(loaded)) {
        out.system_problem("tpm", loaded);
        return;
    }
    service tpm(machine.tpm);
    std::uint32_t version = 0;
    const tbs::result_code asked = tpm.version(version);
    if (asked != tbs::success) {
        tbs_problem("tpm/version", asked, out);
        return;
    }
    if (version != tbs::tpm_version_20) {
        out.write("tpm/version", "1\n");
        return;
    }
    const tbs::result_code opened = tpm.open();
    if (opened == tbs::tpm_not_found) {
        out.problem("tpm", "there is no TPM");
        return;
    }
    out.write("tpm/version", "2\n");
    if (!tpm.has_log_ex()) {
        out.write("tpm/no_log_ex", "");
    }
    if (opened != tbs::success) {
        tbs_problem("tpm/pcrs.bin", opened, out);
    } else {
        capture_pcrs(tpm, out);
    }
    capture_log(tpm, out);
}

}  // namespace vellum::reporting
