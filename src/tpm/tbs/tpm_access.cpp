#include "tpm/tbs/tpm_access.h"

#include <array>
#include <memory>
#include <new>

#include "core/findings.h"
#include "core/log.h"
#include "tpm/tbs/pcr_read.h"
#include "tpm/tbs/tbs_exceptions.h"
#include "tpm/tbs/tbs_lib_caller.h"

namespace vellum {
namespace {

result to_result(hresult operation) {
    return operation == hresult::success ? result::success : result::io_failure;
}

hresult allocate_log(std::uint32_t size, std::vector<std::uint8_t>& out) {
    if (size > tbs::max_log_size) {
        report("tpm-log-too-large"_id, "TPM Event Log of %u bytes is too large. The limit is %u bytes.", size,
               tbs::max_log_size)
            .field("size", size)
            .field("limit", tbs::max_log_size);
        return hresult::failure;
    }
    try {
        out.assign(size, 0);
    } catch (const std::bad_alloc&) {
        out.clear();
    }
    if (out.empty()) {
        log_at(log_level::debug, "Cannot allocate memory for TPM Log.");
        note("tpm-log-not-allocated"_id).field("size", size);
        return hresult::failure;
    }
    return hresult::success;
}

hresult fetch_log(tpm_library& library, std::vector<std::uint8_t>& out) {
    TBSLibCaller caller(std::make_unique<TBSLibLoader>(library));
    const hresult allocated = allocate_log(caller.log_size(), out);
    if (allocated != hresult::success) {
        return allocated;
    }
    const std::uint32_t written = caller.read_log(out);
    if (written > out.size()) {
        report("tpm-log-grew"_id, "TPM Event Log of %u bytes does not fit its buffer of %zu bytes.", written,
               out.size())
            .field("size", written)
            .field("limit", out.size());
        return hresult::failure;
    }
    out.resize(written);
    caller.close();
    return hresult::success;
}

hresult read_pass(TBSLibCaller& caller, std::size_t pass, std::size_t& copied, pcr_value_list& out) {
    std::array<std::uint8_t, pcr_read_response_limit> response{};
    const std::uint32_t received = caller.submit(pcr_read_command(pass), response);
    hresult read = hresult::failure;
    if (received <= response.size()) {
        read = read_pcr_response(byte_view(response).first(received), pass, copied, out);
    }
    if (read != hresult::success) {
        report("tpm-pcr-response-invalid"_id,
               "Invalid response to the command that reads PCRs (%u bytes, result 0x%08x).", received,
               static_cast<std::uint32_t>(read))
            .field("size", received)
            .field("limit", response.size())
            .field("status", static_cast<std::uint32_t>(read));
    }
    return read;
}

hresult read_pcrs(tpm_library& library, pcr_value_list& out) {
    TBSLibCaller caller(std::make_unique<TBSLibLoader>(library));
    std::size_t copied = 0;
    for (std::size_t pass = 0; pass < pcr_read_passes; ++pass) {
        const hresult read = read_pass(caller, pass, copied, out);
        if (read != hresult::success) {
            return read;
        }
    }
    caller.close();
    return hresult::success;
}

}  // namespace

result load_tpm_log_via_tbs(tpm_library& library, std::vector<std::uint8_t>& out) {
    out.clear();
    const result loaded = to_result(run_reported([&] { return fetch_log(library, out); }));
    if (!ok(loaded)) {
        out.clear();
        out.shrink_to_fit();
    }
    return loaded;
}

result read_pcrs_via_tbs(tpm_library& library, pcr_value_list& out) {
    pcr_value_list values = out;
    const result loaded = to_result(run_reported([&] { return read_pcrs(library, values); }));
    if (ok(loaded)) {
        out = values;
    }
    return loaded;
}

}  // namespace vellum
