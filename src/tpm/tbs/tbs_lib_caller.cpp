#include "tpm/tbs/tbs_lib_caller.h"

#include "base/text.h"
#include "core/log.h"
#include "tpm/tbs/tbs_exceptions.h"

namespace vellum {
namespace {

constexpr const char* log_not_retrieved =
    "Could not retrive the TPM Event Log. Communication with TPM using the TPM Base Services (TBS) failed.";

}  // namespace

const std::array<const char*, TBSLibCaller::function_count> TBSLibCaller::function_names = {
    tbs::context_create_name, tbs::context_close_name,   tbs::get_tcg_log_name,
    tbs::get_tcg_log_ex_name, tbs::get_device_info_name, tbs::submit_command_name,
};

// Life of a conversation ----------------------------------------------------------------------------------------

TBSLibCaller::TBSLibCaller(std::unique_ptr<LibLoader> loader) : loader_(std::move(loader)) {
    loader_->load();
    check_tpm_version();
    open_context();
}

TBSLibCaller::~TBSLibCaller() {
    run_reported([this] {
        close();
        return hresult::success;
    });
}

void TBSLibCaller::check_tpm_version() {
    log_at(log_level::debug, "Checking whether TPM 2.0 version is supported on the platform.");
    tbs::device_info info{};
    const auto code = function<tbs::get_device_info>(get_device_info)(sizeof(info), &info);
    if (code != tbs::success) {
        throw TBSException("An unexpected error occurred while trying to obtain the version of the TPM.", code);
    }
    if (info.tpm_version != tbs::tpm_version_20) {
        throw TPMNotSupportedException(
            "TPM version on this platform is not supported. Expected: TPM 2.0, Actual: TPM 1.2.");
    }
    log_at(log_level::debug, "TPM 2.0 is supported on the platform.");
}

void TBSLibCaller::open_context() {
    log_at(log_level::debug, "Trying to create context for TPM 2.0.");
    const auto code = function<tbs::context_create>(context_create)(&parameters_, &context_);
    if (code != tbs::success) {
        loader_->report_obstacle();
        throw TBSException(
            "Cannot create context for TPM 2.0. Communication with TPM using the TPM Base Services (TBS) failed.",
            code);
    }
    context_open_ = true;
    log_at(log_level::debug, "Context for TPM 2.0 has been created succesfully.");
}

void TBSLibCaller::close() {
    if (!context_open_) {
        return;
    }
    context_open_ = false;
    log_at(log_level::debug, "Closing context for TPM 2.0.");
    const auto code = function<tbs::context_close>(context_close)(context_);
    if (code != tbs::success) {
        throw TBSException(
            "Cannot close context for TPM 2.0. Communication with TPM using the TPM Base Services (TBS) failed.",
            code);
    }
    log_at(log_level::debug, "Context for TPM 2.0 has been closed successfully.");
}

// Entry points --------------------------------------------------------------------------------------------------

os_status TBSLibCaller::look_up(function_id id, void*& address) {
    const char* name = function_names[id];
    log_at(log_level::debug, "Trying to retrive the address of an exported function %s.", name);
    const os_status found = loader_->function(name, address);
    if (ok(found)) {
        log_at(log_level::debug, "The address of an exported function %s retrieved succesfully.", name);
    }
    return found;
}

template <typename Function>
Function TBSLibCaller::function(function_id id) {
    const os_status found = functions_[id] == nullptr ? look_up(id, functions_[id]) : os_status::success;
    if (!ok(found)) {
        throw FunctionNotFoundException(
            std::string("An error occurred while trying to get an address for function ") + function_names[id] +
                " in the library " + loader_->name(),
            code_of(found));
    }
    return reinterpret_cast<Function>(functions_[id]);
}

// Event log -----------------------------------------------------------------------------------------------------

std::uint32_t TBSLibCaller::log_size() {
    return get_log(nullptr, 0);
}

std::uint32_t TBSLibCaller::read_log(std::span<std::uint8_t> buffer) {
    return get_log(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
}

// A null buffer asks for the size alone.
std::uint32_t TBSLibCaller::get_log(std::uint8_t* buffer, std::uint32_t size) {
    const auto code = call_get_log(buffer, size);
    if (code != tbs::success) {
        loader_->report_obstacle();
        throw TBSException(log_not_retrieved, code);
    }
    if (buffer != nullptr) {
        log_at(log_level::debug, "TPM Event Log has been retrieved successfully.");
    }
    log_at(log_level::debug,
           "TPM Event Log size has been retrieved successfully. The number of retrieved bytes: (%u)", size);
    return size;
}

// The library is asked anew at each call: the size and the bytes must come from the same function.
tbs::result_code TBSLibCaller::call_get_log(std::uint8_t* buffer, std::uint32_t& size) {
    void* get_log_ex = nullptr;
    const os_status found = look_up(get_tcg_log_ex, get_log_ex);
    if (ok(found)) {
        log_text(log_level::debug,
                 buffer == nullptr ? "Trying to retrive the size of TPM Event log using function Tbsi_Get_TCG_Log_Ex."
                                   : "Trying to retrive the TPM Event log using function Tbsi_Get_TCG_Log_Ex.");
        size_taken_with_ex_ = true;
        return reinterpret_cast<tbs::get_tcg_log_ex>(get_log_ex)(tbs::log_srtm_current, buffer, &size);
    }
    if (size_taken_with_ex_) {
        log_at(
            log_level::error,
            "An unexpected error occured. The function Tbsi_Get_TCG_Log_Ex does not exist, but was available when retriving TPM size.");
        throw FunctionNotFoundException(log_not_retrieved, code_of(found));
    }
    log_at(
        log_level::debug,
        "The function Tbsi_Get_TCG_Log_Ex does not exist. The minimum supported client for function is Windows 10, version 1803.");
    log_text(log_level::debug, buffer == nullptr
                                   ? "Trying to retrive the size of TPM Event log using function Tbsi_Get_TCG_Log."
                                   : "Trying to retrive the TPM Event log using function Tbsi_Get_TCG_Log.");
    return function<tbs::get_tcg_log>(get_tcg_log)(context_, buffer, &size);
}

// Commands ------------------------------------------------------------------------------------------------------

std::uint32_t TBSLibCaller::submit(byte_view command, std::span<std::uint8_t> response) {
    log_at(
        log_level::debug,
        "Submiting a Trusted Platform Module (TPM) command to TPM Base Services (TBS) for processing with following data.");
    log_at(log_level::debug, "\tLocality: %u", tbs::locality_zero);
    log_at(log_level::debug, "\tPriority: %u", tbs::priority_normal);
    log_at(log_level::debug, "\tCommand: 0x%s", upper_hex(command).c_str());
    auto received = static_cast<std::uint32_t>(response.size());
    const auto code = function<tbs::submit_command>(submit_command)(
        context_, tbs::locality_zero, tbs::priority_normal, command.data(),
        static_cast<std::uint32_t>(command.size()), response.data(), &received);
    if (code != tbs::success) {
        throw TBSException(
            "Could not retrive PCRs from TPM. Communication with TPM using the TPM Base Services (TBS) failed.",
            code);
    }
    return received;
}

}  // namespace vellum
