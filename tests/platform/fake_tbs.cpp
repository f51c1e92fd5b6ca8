// A TPM Base Services library for tests. It serves the recorded device whose directory VELLUM_TEST_TPM names, and the
// call that VELLUM_TEST_TPM_FAULT names fails; "short" cuts each response. Built once whole, and once without each of
// the entry points that callers must be able to miss.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/recorded/tpm_library.h"

namespace {

using namespace vellum;

constexpr std::uint32_t short_response = 5;  // bytes: less than a response's head

bool fault_is(std::string_view name) {
    const char* fault = std::getenv("VELLUM_TEST_TPM_FAULT");
    return fault != nullptr && name == fault;
}

// Binds the device that is named when the library is called for the first time.
void bind_device() {
    const char* device = std::getenv("VELLUM_TEST_TPM");
    static recorded_tbs_service service(device != nullptr ? device : "");
    static const bool bound = (bind_tbs_service(&service), true);
    static_cast<void>(bound);
}

template <typename Function, typename... Arguments>
tbs::result_code call(const char* name, Arguments... arguments) {
    bind_device();
    if (fault_is(name)) {
        return tbs::service_not_running;
    }
    return reinterpret_cast<Function>(tbs_function(name))(arguments...);
}

}  // namespace

#define EXPORTED extern "C" __declspec(dllexport) tbs::result_code

EXPORTED Tbsi_Context_Create(const tbs::context_parameters* parameters, tbs::context_handle* context) {
    return call<tbs::context_create>(tbs::context_create_name, parameters, context);
}

EXPORTED Tbsip_Context_Close(tbs::context_handle context) {
    return call<tbs::context_close>(tbs::context_close_name, context);
}

EXPORTED Tbsi_Get_TCG_Log(tbs::context_handle context, std::uint8_t* buffer, std::uint32_t* size) {
    return call<tbs::get_tcg_log>(tbs::get_tcg_log_name, context, buffer, size);
}

#ifndef WITHOUT_LOG_EX
EXPORTED Tbsi_Get_TCG_Log_Ex(std::uint32_t log_type, std::uint8_t* buffer, std::uint32_t* size) {
    return call<tbs::get_tcg_log_ex>(tbs::get_tcg_log_ex_name, log_type, buffer, size);
}
#endif

EXPORTED Tbsi_GetDeviceInfo(std::uint32_t size, void* info) {
    return call<tbs::get_device_info>(tbs::get_device_info_name, size, info);
}

#ifndef WITHOUT_SUBMIT
EXPORTED Tbsip_Submit_Command(tbs::context_handle context, std::uint32_t locality, std::uint32_t priority,
                              const std::uint8_t* command, std::uint32_t command_size, std::uint8_t* response,
                              std::uint32_t* response_size) {
    const tbs::result_code code = call<tbs::submit_command>(tbs::submit_command_name, context, locality, priority,
                                                            command, command_size, response, response_size);
    if (fault_is("short")) {
        *response_size = std::min(*response_size, short_response);
    }
    return code;
}
#endif
