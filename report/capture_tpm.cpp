#include <cstdio>

#include "report/capture_service.h"
#include "tpm/tbs/pcr_read.h"

namespace vellum::reporting {
namespace {

void capture_pcrs(const tpm_service& tpm, record_writer& out) {
    pcr_value_list values{};
    std::string why;
    if (read_pcrs(tpm, values, why)) {
        out.write("tpm/pcrs.bin", file_of_pcrs(values));
    } else {
        out.problem("tpm/pcrs.bin", why);
    }
}

}  // namespace

log_reading read_log(const tpm_service& tpm) {
    std::uint32_t size = 0;
    tbs::result_code asked = tpm.log(nullptr, size);
    if (asked == tbs::success && (size == 0 || size > tbs::max_log_size)) {
        return {std::nullopt, "the log has " + std::to_string(size) + " bytes"};
    }
    std::vector<std::uint8_t> log(asked == tbs::success ? size : 0);
    if (asked == tbs::success) {
        asked = tpm.log(log.data(), size);
    }
    if (asked != tbs::success) {
        return {std::nullopt, service_answer(asked)};
    }
    log.resize(std::min<std::size_t>(log.size(), size));
    return {std::move(log), ""};
}

void write_log(const log_reading& read, record_writer& out) {
    if (read.log) {
        out.write("tpm/event_log.bin", *read.log);
    } else {
        out.problem("tpm/event_log.bin", read.why);
    }
}

std::string service_answer(tbs::result_code code) {
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "0x%08x", code);
    return std::string("the TPM service answers ") + digits.data() +
           (code == tbs::command_blocked ? ", as it does to a command that its settings block" : "");
}

bool read_pcrs(const tpm_service& tpm, pcr_value_list& out, std::string& why) {
    std::size_t copied = 0;
    for (std::size_t pass = 0; pass < pcr_read_passes; ++pass) {
        std::vector<std::uint8_t> response;
        const tbs::result_code sent = tpm.submit(pcr_read_command(pass), response);
        const bool read = sent == tbs::success && read_pcr_response(response, pass, copied, out) == hresult::success;
        if (!read || copied != (pass + 1) * pcrs_per_read * sizeof(pcr_value)) {
            why = sent != tbs::success ? service_answer(sent)
                                       : "the TPM does not give the values of eight PCRs of its SHA-256 bank";
            return false;
        }
    }
    return true;
}

std::vector<std::uint8_t> file_of_pcrs(const pcr_value_list& values) {
    std::vector<std::uint8_t> file;
    for (const pcr_value& value : values) {
        file.insert(file.end(), value.begin(), value.end());
    }
    return file;
}

void capture_tpm(const platform& machine, const std::optional<std::vector<std::uint8_t>>& nonce, record_writer& out) {
    const os_status loaded = machine.tpm.load(tbs::library_name, tbs::search_system_directory);
    if (!ok(loaded)) {
        out.system_problem("tpm", loaded);
        return;
    }
    tpm_service tpm(machine.tpm);
    std::uint32_t version = 0;
    const tbs::result_code asked = tpm.version(version);
    if (asked != tbs::success) {
        out.problem("tpm/version", service_answer(asked));
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
        out.problem("tpm/pcrs.bin", service_answer(opened));
    } else if (nonce && capture_quote(tpm, *nonce, out)) {
        return;
    } else {
        capture_pcrs(tpm, out);
    }
    write_log(read_log(tpm), out);
}

}  // namespace vellum::reporting
