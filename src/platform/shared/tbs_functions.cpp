#include "platform/shared/tbs_functions.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <string_view>
#include <utility>

namespace vellum {
namespace {

// The log is kept between the call that asks for its size and the one that takes it.
struct binding {
    tbs_service* service = nullptr;
    std::vector<std::uint8_t> log;
};

binding bound;

// No exception passes an entry point: its caller takes it for a function of a C library.
template <typename Call>
tbs::result_code guarded(Call&& call) {
    try {
        return bound.service != nullptr ? call(*bound.service) : tbs::service_not_running;
    } catch (const std::exception&) {
        return tbs::internal_error;
    }
}

// A context is the service itself.
template <typename Call>
tbs::result_code in_context(tbs::context_handle context, Call&& call) {
    return context != nullptr && context == bound.service ? guarded(call) : tbs::bad_parameter;
}

tbs::result_code context_create(const tbs::context_parameters* parameters, tbs::context_handle* context) {
    if (parameters == nullptr || context == nullptr || parameters->version != tbs::context_version_two ||
        (parameters->flags & tbs::include_tpm_20) == 0) {
        return tbs::bad_parameter;
    }
    return guarded([context](tbs_service& service) {
        const auto code = service.open_context();
        *context = code == tbs::success ? &service : nullptr;
        return code;
    });
}

tbs::result_code context_close(tbs::context_handle context) {
    return in_context(context, [](tbs_service& service) { return service.close_context(); });
}

tbs::result_code get_device_info(std::uint32_t size, void* info) {
    if (info == nullptr || size < sizeof(tbs::device_info)) {
        return tbs::bad_parameter;
    }
    return guarded([info](tbs_service& service) {
        auto& out = *static_cast<tbs::device_info*>(info);
        out = {1, 0, 0, 0};
        return service.tpm_version(out.tpm_version);
    });
}

tbs::result_code copy_log(std::uint8_t* buffer, std::uint32_t& size) {
    if (bound.log.size() > std::numeric_limits<std::uint32_t>::max()) {
        return tbs::internal_error;
    }
    const std::uint32_t room = size;
    size = static_cast<std::uint32_t>(bound.log.size());
    if (buffer == nullptr) {
        return tbs::success;
    }
    if (room < size) {
        return tbs::insufficient_buffer;
    }
    std::copy(bound.log.begin(), bound.log.end(), buffer);
    return tbs::success;
}

// Who asks for the size wants the log of now; who fetches it then, the one whose size was told.
tbs::result_code read_log_of_now(tbs_service& service) {
    std::vector<std::uint8_t> log;
    const tbs::result_code code = service.read_log(log);
    if (code == tbs::success) {
        bound.log = std::move(log);
    }
    return code;
}

tbs::result_code get_tcg_log_ex(std::uint32_t log_type, std::uint8_t* buffer, std::uint32_t* size) {
    if (log_type != tbs::log_srtm_current || size == nullptr) {
        return tbs::bad_parameter;
    }
    return guarded([buffer, size](tbs_service& service) {
        const bool anew = buffer == nullptr || bound.log.empty();
        const auto code = anew ? read_log_of_now(service) : tbs::success;
        return code == tbs::success ? copy_log(buffer, *size) : code;
    });
}

tbs::result_code get_tcg_log(tbs::context_handle context, std::uint8_t* buffer, std::uint32_t* size) {
    return in_context(context, [=](tbs_service&) { return get_tcg_log_ex(tbs::log_srtm_current, buffer, size); });
}

// Locality and priority have no counterpart here: the service below has one of each.
tbs::result_code submit_command(tbs::context_handle context, std::uint32_t, std::uint32_t,
                                const std::uint8_t* command, std::uint32_t command_size, std::uint8_t* response,
                                std::uint32_t* response_size) {
    if (command == nullptr || response == nullptr || response_size == nullptr) {
        return tbs::bad_parameter;
    }
    return in_context(context, [=](tbs_service& service) {
        std::size_t received = 0;
        const auto code = service.submit({command, command_size}, {response, *response_size}, received);
        *response_size = static_cast<std::uint32_t>(received);
        return code;
    });
}

struct entry_point {
    std::string_view name;
    void* address;
};

const entry_point entry_points[] = {
    {tbs::context_create_name, reinterpret_cast<void*>(&context_create)},
    {tbs::context_close_name, reinterpret_cast<void*>(&context_close)},
    {tbs::get_tcg_log_name, reinterpret_cast<void*>(&get_tcg_log)},
    {tbs::get_tcg_log_ex_name, reinterpret_cast<void*>(&get_tcg_log_ex)},
    {tbs::get_device_info_name, reinterpret_cast<void*>(&get_device_info)},
    {tbs::submit_command_name, reinterpret_cast<void*>(&submit_command)},
};

}  // namespace

void bind_tbs_service(tbs_service* service) {
    bound = {service, {}};
}

void* tbs_function(const char* name) {
    const auto* row = std::find_if(std::begin(entry_points), std::end(entry_points),
                                   [name](const entry_point& entry) { return entry.name == name; });
    return row != std::end(entry_points) ? row->address : nullptr;
}

}  // namespace vellum
