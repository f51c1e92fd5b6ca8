// The TPM service's functions by their own types, and what a capture reads through them: PCRs, event log, a quote.
// The service is closed and unloaded when it is destroyed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/pcr.h"
#include "platform/tbs.h"
#include "platform/tpm_library.h"
#include "report/capture.h"
#include "tpm/attestation/quote_commands.h"

namespace vellum::reporting {

class tpm_service {
  public:
    // The library must be loaded, and outlive it.
    explicit tpm_service(tpm_library& library) : library_(library) {}
    ~tpm_service() {
        const auto close = function<tbs::context_close>(tbs::context_close_name);
        if (context_ != nullptr && close != nullptr) {
            close(context_);
        }
        library_.unload();
    }
    tpm_service(const tpm_service&) = delete;
    tpm_service& operator=(const tpm_service&) = delete;

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
        response.resize(tpm_response_limit);
        auto size = static_cast<std::uint32_t>(response.size());
        const tbs::result_code sent = send != nullptr
                                          ? send(context_, tbs::locality_zero, tbs::priority_normal, command.data(),
                                                 static_cast<std::uint32_t>(command.size()), response.data(), &size)
                                          : tbs::internal_error;
        response.resize(sent == tbs::success ? std::min<std::size_t>(size, tpm_response_limit) : 0);
        return sent;
    }

  private:
    template <typename Function>
    Function function(const char* name) const {
        void* address = nullptr;
        return ok(library_.function(name, address)) ? reinterpret_cast<Function>(address) : nullptr;
    }

    tpm_library& library_;
    tbs::context_handle context_ = nullptr;
};

// "the TPM service answers 0x80284008".
std::string service_answer(tbs::result_code code);

// The values of all PCRs; false with the reason when the TPM does not give them.
[[nodiscard]] bool read_pcrs(const tpm_service& tpm, pcr_value_list& out, std::string& why);

// The event log, or why the service does not give it.
struct log_reading {
    std::optional<std::vector<std::uint8_t>> log;
    std::string why;
};
log_reading read_log(const tpm_service& tpm);
void write_log(const log_reading& read, record_writer& out);

// As tpm/pcrs.bin holds them.
std::vector<std::uint8_t> file_of_pcrs(const pcr_value_list& values);

// Captures the PCRs with a quote over them that answers the nonce, and the log that they belong to; false, with the
// reason among the problems and nothing captured, when there is none to be had.
[[nodiscard]] bool capture_quote(const tpm_service& tpm, byte_view nonce, record_writer& out);

}  // namespace vellum::reporting
