#include "tpm/attestation/quote_commands.h"

#include "tpm/attestation/tpm_numbers.h"

namespace vellum {
namespace {

constexpr std::size_t head_size = 10;  // tag, size and command or response code

// A session without secrets: the empty authorization as it is.
void write_empty_authorization(tpm::writer& out) {
    constexpr std::uint32_t authorization_size = 9;
    out.u32(authorization_size).u32(tpm::password_session).sized({}).u8(0).sized({});
}

std::vector<std::uint8_t> command(std::uint16_t tag, std::uint32_t code, byte_view body) {
    const auto size = static_cast<std::uint32_t>(head_size + body.size());
    return tpm::writer().u16(tag).u32(size).u32(code).bytes(body).take();
}

// Behind the head and what stands before the parameters; confined to these.
[[nodiscard]] bool enter_parameters(byte_view response, std::size_t before, byte_reader& out) {
    byte_reader reader(response);
    std::uint32_t size = 0;
    return response_code(response) == 0 && reader.skip(head_size) && reader.skip(before) && reader.u32_be(size) &&
           reader.sub(size, out);
}

}  // namespace

std::uint32_t response_code(byte_view response) {
    byte_reader reader(response);
    std::uint16_t tag = 0;
    std::uint32_t size = 0;
    std::uint32_t code = 0;
    const bool whole = reader.u16_be(tag) && reader.u32_be(size) && reader.u32_be(code) && size == response.size();
    return whole ? code : response_malformed;
}

std::vector<std::uint8_t> create_key_command(key_type type) {
    constexpr std::uint16_t sensitive_size = 4;  // no authorization and no data
    tpm::writer body;
    body.u32(tpm::endorsement_hierarchy);
    write_empty_authorization(body);
    body.u16(sensitive_size).sized({}).sized({});
    body.sized(key_template(type));
    body.sized({});  // nothing from outside in the creation data
    body.u32(0);     // and no PCRs
    return command(tpm::tag_sessions, tpm::command_create_primary, body.take());
}

std::optional<std::uint32_t> created_handle(byte_view response) {
    byte_reader reader(response);
    std::uint32_t handle = 0;
    const bool there = response_code(response) == 0 && reader.skip(head_size) && reader.u32_be(handle);
    return there ? std::optional(handle) : std::nullopt;
}

std::optional<byte_view> created_public_area(byte_view response) {
    byte_reader parameters({});
    byte_view area;
    const bool there =
        enter_parameters(response, sizeof(std::uint32_t), parameters) && tpm::read_sized(parameters, area);
    return there ? std::optional(area) : std::nullopt;
}

std::vector<std::uint8_t> quote_command(std::uint32_t handle, byte_view nonce) {
    tpm::writer body;
    body.u32(handle);
    write_empty_authorization(body);
    body.sized(nonce).u16(tpm::alg_null);
    body.u32(1).u16(tpm::alg_sha256).u8(3).u8(0xFF).u8(0xFF).u8(0xFF);
    return command(tpm::tag_sessions, tpm::command_quote, body.take());
}

std::optional<quote_response> read_quote_response(byte_view response) {
    byte_reader parameters({});
    quote_response out;
    if (!enter_parameters(response, 0, parameters) || !tpm::read_sized(parameters, out.quote)) {
        return std::nullopt;
    }
    out.signature = parameters.rest();
    return out;
}

std::vector<std::uint8_t> flush_command(std::uint32_t handle) {
    return command(tpm::tag_no_sessions, tpm::command_flush_context, tpm::writer().u32(handle).take());
}

}  // namespace vellum
