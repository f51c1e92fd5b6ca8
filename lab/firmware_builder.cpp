#include "lab/firmware_builder.h"

#include "firmware/feature_state.h"
#include "lab/byte_builder.h"

namespace vellum::lab {
namespace {

std::vector<std::uint8_t> build(const response_header& header, firmware_command command, byte_builder body) {
    byte_builder out;
    out.u32_le(header.version).u32_le(header.command.value_or(static_cast<std::uint32_t>(command)));
    out.u32_le(header.length.value_or(static_cast<std::uint32_t>(body.size()))).u32_le(header.status);
    return out.bytes(body.take()).take();
}

std::uint16_t size_16(const std::vector<std::uint8_t>& bytes) {
    return static_cast<std::uint16_t>(bytes.size());
}

}  // namespace

std::vector<std::uint8_t> build(const version_builder& response) {
    byte_builder body;
    body.u8(response.major).u8(response.minor);
    return build(response.header, firmware_command::GET_VERSION, std::move(body));
}

std::vector<std::uint8_t> build(const file_builder& response) {
    byte_builder body;
    body.u16_le(response.file_length.value_or(size_16(response.file))).bytes(response.file);
    return build(response.header, firmware_command::GM_FILE_GET, std::move(body));
}

std::vector<std::uint8_t> build(const feature_state_builder& response) {
    byte_builder body;
    body.u32_le(response.feature_state).u16_le(response.configuration).u32_le(response.seal_state);
    body.u32_le(response.hotkey_length.value_or(static_cast<std::uint32_t>(response.hotkey.size())));
    body.padded(response.hotkey, firmware_hotkey_size).u32_le(response.opt_out_interval).u32_le(response.reserved);
    body.padded(response.signature, seal_log_size_offset - seal_signature_offset);
    body.u16_le(response.records_size.value_or(size_16(response.records))).bytes(response.records);
    body.bytes(response.trailing);
    return build(response.header, firmware_command::FEATURE_GET_STATE, std::move(body));
}

std::vector<std::uint8_t> build(const deactivate_builder& response) {
    return build(response.header, firmware_command::FEATURE_DEACTIVATE, {});
}

}  // namespace vellum::lab
