// The entry points of the TPM Base Services that are used: names, signatures and the few constants they need. The
// signatures are those of a 64-bit system, which has one calling convention.
#pragma once

#include <cstdint>

namespace vellum::tbs {

using result_code = std::uint32_t;  // 0 is success
using context_handle = void*;

inline constexpr result_code success = 0;
inline constexpr result_code internal_error = 0x80284001;
inline constexpr result_code bad_parameter = 0x80284002;
inline constexpr result_code insufficient_buffer = 0x80284005;
inline constexpr result_code io_error = 0x80284006;
inline constexpr result_code service_not_running = 0x80284008;
inline constexpr result_code tpm_not_found = 0x8028400F;
inline constexpr result_code command_blocked = 0x80280400;

struct context_parameters {
    std::uint32_t version;
    std::uint32_t flags;
};
inline constexpr std::uint32_t context_version_two = 2;
inline constexpr std::uint32_t include_tpm_20 = 4;

struct device_info {
    std::uint32_t struct_version;
    std::uint32_t tpm_version;
    std::uint32_t interface_type;
    std::uint32_t implementation_revision;
};
inline constexpr std::uint32_t tpm_version_12 = 1;
inline constexpr std::uint32_t tpm_version_20 = 2;

inline constexpr std::uint32_t log_srtm_current = 0;
inline constexpr std::uint32_t locality_zero = 0;
inline constexpr std::uint32_t priority_normal = 200;

// No boot writes a longer event log; whatever claims to be one is not read. Bytes.
inline constexpr std::uint32_t max_log_size = 256U * 1024 * 1024;

// The library that exports them; it is loaded from the system's own directory only.
inline constexpr const char* library_name = "tbs.dll";
inline constexpr std::uint32_t search_system_directory = 0x800;

using context_create = result_code (*)(const context_parameters*, context_handle*);
using context_close = result_code (*)(context_handle);
// A null buffer asks for the size alone.
using get_tcg_log = result_code (*)(context_handle, std::uint8_t* buffer, std::uint32_t* size);
using get_tcg_log_ex = result_code (*)(std::uint32_t log_type, std::uint8_t* buffer, std::uint32_t* size);
using get_device_info = result_code (*)(std::uint32_t size, void* info);
using submit_command = result_code (*)(context_handle, std::uint32_t locality, std::uint32_t priority,
                                       const std::uint8_t* command, std::uint32_t command_size,
                                       std::uint8_t* response, std::uint32_t* response_size);

inline constexpr const char* context_create_name = "Tbsi_Context_Create";
inline constexpr const char* context_close_name = "Tbsip_Context_Close";
inline constexpr const char* get_tcg_log_name = "Tbsi_Get_TCG_Log";
inline constexpr const char* get_tcg_log_ex_name = "Tbsi_Get_TCG_Log_Ex";
inline constexpr const char* get_device_info_name = "Tbsi_GetDeviceInfo";
inline constexpr const char* submit_command_name = "Tbsip_Submit_Command";

}  // namespace vellum::tbs
