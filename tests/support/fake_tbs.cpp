#include "tests/support/fake_tbs.h"

#include <algorithm>
#include <map>

#include "lab/byte_builder.h"

namespace vellum::test {
namespace {

fake_tbs* instance = nullptr;
int context_object = 0;

fake_tbs& called(const char* name) {
    instance->calls += std::string(" ") + name;
    if (instance->on_call) {
        instance->on_call(name);
    }
    return *instance;
}

tbs::result_code create(const tbs::context_parameters* parameters, tbs::context_handle* context) {
    fake_tbs& fake = called(tbs::context_create_name);
    *context = &context_object;
    return parameters->version == 2 && parameters->flags == 4 ? fake.create_code : tbs::bad_parameter;
}

tbs::result_code close(tbs::context_handle context) {
    fake_tbs& fake = called(tbs::context_close_name);
    return context == &context_object ? fake.close_code : tbs::bad_parameter;
}

tbs::result_code take_log(fake_tbs& fake, std::uint8_t* buffer, std::uint32_t* size) {
    if (buffer != nullptr) {
        std::copy_n(fake.log.begin(), std::min<std::size_t>(*size, fake.log.size()), buffer);
    }
    *size = static_cast<std::uint32_t>(fake.log.size());
    if (!fake.log_sizes.empty()) {
        *size = fake.log_sizes.front();
        fake.log_sizes.erase(fake.log_sizes.begin());
    }
    return fake.log_code;
}

tbs::result_code get_log(tbs::context_handle context, std::uint8_t* buffer, std::uint32_t* size) {
    fake_tbs& fake = called(tbs::get_tcg_log_name);
    return context == &context_object ? take_log(fake, buffer, size) : tbs::bad_parameter;
}

tbs::result_code get_log_ex(std::uint32_t type, std::uint8_t* buffer, std::uint32_t* size) {
    fake_tbs& fake = called(tbs::get_tcg_log_ex_name);
    return type == 0 ? take_log(fake, buffer, size) : tbs::bad_parameter;
}

tbs::result_code get_info(std::uint32_t size, void* info) {
    fake_tbs& fake = called(tbs::get_device_info_name);
    static_cast<tbs::device_info*>(info)->tpm_version = fake.tpm_version;
    return size == 16 ? fake.device_info_code : tbs::bad_parameter;
}

tbs::result_code submit(tbs::context_handle context, std::uint32_t locality, std::uint32_t priority,
                        const std::uint8_t* command, std::uint32_t command_size, std::uint8_t* response,
                        std::uint32_t* response_size) {
    fake_tbs& fake = called(tbs::submit_command_name);
    if (context != &context_object || locality != 0 || priority != 200 || *response_size != 512) {
        return tbs::bad_parameter;
    }
    fake.commands.emplace_back(command, command + command_size);
    std::vector<std::uint8_t> answer = fake.response(fake.commands.size() - 1);
    if (fake.change_response) {
        fake.change_response(answer);
    }
    std::copy_n(answer.begin(), std::min<std::size_t>(answer.size(), *response_size), response);
    *response_size = static_cast<std::uint32_t>(answer.size());
    return fake.submit_code;
}

const std::map<std::string, void*> functions = {
    {tbs::context_create_name, reinterpret_cast<void*>(&create)},
    {tbs::context_close_name, reinterpret_cast<void*>(&close)},
    {tbs::get_tcg_log_name, reinterpret_cast<void*>(&get_log)},
    {tbs::get_tcg_log_ex_name, reinterpret_cast<void*>(&get_log_ex)},
    {tbs::get_device_info_name, reinterpret_cast<void*>(&get_info)},
    {tbs::submit_command_name, reinterpret_cast<void*>(&submit)},
};

}  // namespace

fake_tbs::fake_tbs() {
    instance = this;
}

fake_tbs::~fake_tbs() {
    instance = nullptr;
}

bool fake_tbs::load(const char* name, std::uint32_t flags) {
    calls += " load";
    return found && std::string(name) == "tbs.dll" && flags == 0x800;
}

void* fake_tbs::function(const char* name) {
    const auto found_function = functions.find(name);
    return missing.contains(name) || found_function == functions.end() ? nullptr : found_function->second;
}

std::vector<std::uint8_t> fake_tbs::response(std::size_t pass) const {
    lab::byte_builder body;
    body.u32_be(0).u32_be(77).u32_be(1).u16_be(0x000B).u8(3);
    for (std::size_t byte = 0; byte < 3; ++byte) {
        body.u8(byte == pass ? 0xFF : 0);
    }
    body.u32_be(8);
    for (std::size_t pcr = 8 * pass; pcr < 8 * pass + 8; ++pcr) {
        body.u16_be(32).bytes(pcrs[pcr]);
    }
    const auto size = static_cast<std::uint32_t>(6 + body.size());
    return lab::byte_builder().u16_be(0x8001).u32_be(size).bytes(body.take()).take();
}

}  // namespace vellum::test
