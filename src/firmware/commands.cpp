#include "firmware/commands.h"

#include <algorithm>
#include <array>
#include <new>

#include "core/findings.h"
#include "core/log.h"
#include "firmware/feature_state.h"
#include "firmware/firmware_link.h"

namespace vellum {
namespace {

constexpr std::uint32_t header_version = 1;

// Responses: what follows the header.
constexpr std::size_t version_fixed_size = 18;  // major, minor (8 bits each)
constexpr std::size_t file_fixed_size = 18;     // file length (16 bits), then the file

// FEATURE_DEACTIVATE's payload: reason (8 bits), text.
constexpr std::size_t deactivation_payload_size = 1 + deactivation_text_size;

enum class response_tail { none, counted };  // counted: the last 16 bits of the fixed part count the bytes after it

struct command_row {
    firmware_command command;
    const char* call;
    const char* preparing;  // lines at debug; null: none
    const char* sending;
    const char* executed;
    std::size_t fixed_size;  // bytes of the response
    response_tail tail;
};

constexpr command_row version_command = {firmware_command::GET_VERSION,
                                         "retrieving the KVR Feature Version",
                                         "[Get State]: Preparing GET_VERSION command",
                                         "[Get Version]: Sending GET_VERSION command",
                                         "[Get Version]: GET_VERSION Executed successfully",
                                         version_fixed_size,
                                         response_tail::none};
constexpr command_row state_command = {firmware_command::FEATURE_GET_STATE,
                                       "retrieving the KVR Feature State",
                                       "Preparing FEATURE_GET_STATE command",
                                       "Sending FEATURE_GET_STATE command",
                                       "FEATURE_GET_STATE executed successfully",
                                       feature_state_fixed_size,
                                       response_tail::counted};
constexpr command_row file_command = {firmware_command::GM_FILE_GET,
                                      "retrieving Platform Measurements",
                                      "Preparing GM_FILE_GET command",
                                      nullptr,
                                      nullptr,
                                      file_fixed_size,
                                      response_tail::counted};
constexpr command_row deactivate_command = {firmware_command::FEATURE_DEACTIVATE,
                                            "deactivating the KVR Feature",
                                            "Preparing FEATURE_DEACTIVATE command",
                                            "Sending FEATURE_DEACTIVATE command",
                                            "FEATURE_DEACTIVATE executed successfully",
                                            response_header_size,
                                            response_tail::none};

void log_step(const char* text) {
    if (text != nullptr) {
        log_at(log_level::debug, "%s", text);
    }
}

// The header's fields after its version; those that do not fit stay 0.
struct message_header {
    std::uint32_t command = 0;
    std::uint32_t length = 0;
    std::uint32_t status = 0;  // responses only
};

message_header read_header(byte_view message) {
    message_header header;
    byte_reader reader(message);
    std::uint32_t version = 0;
    static_cast<void>(reader.u32_le(version) && reader.u32_le(header.command) && reader.u32_le(header.length) &&
                      reader.u32_le(header.status));
    return header;
}

result refuse_size(std::uint64_t size, std::size_t smallest, std::size_t largest) {
    report("firmware-message-size"_id,
           "Received message of invalid size from PELI. Message size: %lu, expected size in range <%zu-%lu>.",
           static_cast<unsigned long>(size), smallest, static_cast<unsigned long>(largest))
        .field("size", size)
        .field("expected", smallest)
        .field("limit", largest);
    return result::transport_failure;
}

result check_response(FirmwareCommandContext& context, firmware_command command, byte_view response) {
    const message_header header = read_header(response);
    if (header.status != SKY_PORT_STATUS_SUCCESS) {
        context.status = header.status;
        return result::internal_failure;
    }
    if (header.command != static_cast<std::uint32_t>(command)) {
        context.unexpected_command = header.command;
        return result::internal_failure;
    }
    return result::success;
}

// The smallest size that holds the fixed part and what it counts.
std::size_t smallest_size(const command_row& row, byte_view response) {
    std::uint16_t counted = 0;
    byte_reader reader(response);
    const bool read =
        row.tail == response_tail::counted && reader.skip(row.fixed_size - sizeof(counted)) && reader.u16_le(counted);
    return row.fixed_size + (read ? counted : 0);
}

// Demands a success that answers this command and is as long as it says. `response` holds a header at least.
result check_answer(FirmwareCommandContext& context, const command_row& row, byte_view response,
                    std::size_t capacity) {
    RETURN_IF_FAILED(check_response(context, row.command, response));
    const std::size_t smallest = smallest_size(row, response);
    return response.size() < smallest ? refuse_size(response.size(), smallest, capacity) : result::success;
}

// The file in a response that check_answer() accepts.
void take_file(byte_view response, std::vector<std::uint8_t>& out) {
    const byte_view file = response.first(smallest_size(file_command, response)).subspan(file_fixed_size);
    out.assign(file.begin(), file.end());
}

result exchange(FirmwareCommandContext& context, const command_row& row, byte_view payload,
                std::vector<std::uint8_t>& response) {
    firmware_link none;
    firmware_link& link = context.link != nullptr ? *context.link : none;
    const std::size_t capacity = link.max_message_length();
    response.assign(capacity, 0);
    const std::vector<std::uint8_t> request = build_request(row.command, payload);
    log_step(row.sending);
    RETURN_IF_FAILED(send_command(link, request, response_header_size, response));
    RETURN_IF_FAILED(check_answer(context, row, response, capacity));
    log_step(row.executed);
    return result::success;
}

// What the context knows of an earlier command is no reason of this one's failure.
void begin_command(FirmwareCommandContext& context, const command_row& row) {
    context.call = row.call;
    context.status = SKY_PORT_STATUS_SUCCESS;
    context.unexpected_command = 0;
    log_step(row.preparing);
}

result run_command(FirmwareCommandContext& context, const command_row& row, byte_view payload,
                   std::vector<std::uint8_t>& response) {
    result run = result::internal_failure;
    try {
        run = exchange(context, row, payload, response);
    } catch (const std::bad_alloc&) {
        report("firmware-no-memory"_id, "Error allocating memory for a firmware message.");
    }
    if (!ok(run)) {
        report_firmware_failure(context);
    }
    return run;
}

result run_command(FirmwareCommandContext& context, const command_row& row, std::vector<std::uint8_t>& response) {
    begin_command(context, row);
    return run_command(context, row, {}, response);
}

result check_deactivation(byte_view text, std::uint8_t reason) {
    if (missing_parameter(text.data(), "text")) {
        return result::internal_failure;
    }
    return check_deactivation_reason(reason);
}

}  // namespace

std::vector<std::uint8_t> build_request(firmware_command command, byte_view payload) {
    std::vector<std::uint8_t> request;
    request.reserve(request_header_size + payload.size());
    append_le(request, header_version);
    append_le(request, static_cast<std::uint32_t>(command));
    append_le(request, static_cast<std::uint32_t>(payload.size()));
    request.insert(request.end(), payload.begin(), payload.end());
    return request;
}

result send_command(firmware_link& link, byte_view request, std::size_t smallest,
                    std::vector<std::uint8_t>& response) {
    const message_header sent = read_header(request);
    log_at(log_level::debug, "Sending command: ID 0x%02x, BufferLength: %d bytes", sent.command,
           static_cast<int>(sent.length));
    const std::int64_t written = std::max<std::int64_t>(link.send(request), 0);
    if (static_cast<std::uint64_t>(written) < request.size()) {
        report("firmware-send-incomplete"_id, "Sending command failed. Sent %lu bytes out of %lu.",
               static_cast<unsigned long>(written), static_cast<unsigned long>(request.size()))
            .field("expected", request.size())
            .field("actual", written);
        return result::transport_failure;
    }
    const std::int64_t received = link.receive(response);
    if (received < 0) {
        return result::transport_failure;
    }
    const auto size = static_cast<std::uint64_t>(received);
    if (size < smallest || size > response.size()) {
        return refuse_size(size, smallest, response.size());
    }
    response.resize(static_cast<std::size_t>(size));
    const message_header header = read_header(response);
    log_at(log_level::debug, "Received command: ID 0x%02x, Status 0x%02x, BufferLength: %d bytes.", header.command,
           header.status, static_cast<int>(header.length));
    return result::success;
}

result get_version(FirmwareCommandContext& context, firmware_version& out) {
    std::vector<std::uint8_t> response;
    RETURN_IF_FAILED(run_command(context, version_command, response));
    out = {response[response_header_size], response[response_header_size + 1]};
    context.version = out;
    log_at(log_level::info, "Norvane(R) KVR version: %d.%d", out.major, out.minor);
    return result::success;
}

result get_feature_state(FirmwareCommandContext& context, std::vector<std::uint8_t>& response) {
    RETURN_IF_FAILED(run_command(context, state_command, response));
    byte_reader reader(response);
    std::uint16_t configuration = 0;
    static_cast<void>(reader.skip(response_header_size) && reader.u32_le(context.feature_state) &&
                      reader.u16_le(configuration) && reader.u32_le(context.seal_state));
    log_at(log_level::info, "KVR Feature State: 0x%02x (%s)", context.feature_state,
           feature_state_name(context.feature_state));
    log_at(log_level::info, "KVR Seal State: 0x%02x (%s)", context.seal_state, seal_state_name(context.seal_state));
    return result::success;
}

result get_pmf(FirmwareCommandContext& context, std::vector<std::uint8_t>& pmf) {
    std::vector<std::uint8_t> response;
    RETURN_IF_FAILED(run_command(context, file_command, response));
    take_file(response, pmf);
    return result::success;
}

bool is_response(byte_view message) {
    std::uint32_t version = 0;
    return message.size() >= response_header_size && byte_reader(message).u32_le(version) &&
           version == header_version;
}

result read_pmf_response(FirmwareCommandContext& context, byte_view response, std::vector<std::uint8_t>& pmf) {
    begin_command(context, file_command);
    const result checked = response.size() < response_header_size
                               ? refuse_size(response.size(), response_header_size, peli_longest_message)
                               : check_answer(context, file_command, response, peli_longest_message);
    if (ok(checked)) {
        take_file(response, pmf);
    }
    return checked;
}

result check_deactivation_reason(int reason) {
    constexpr int last_reason = 2;
    if (reason >= 0 && reason <= last_reason) {
        return result::success;
    }
    report("unseal-reason-invalid"_id, "Provided unseal reason %d is invalid. Expected: [0, 1, 2].", reason)
        .field("value", reason);
    return result::invalid;
}

result deactivate_feature(FirmwareCommandContext& context, byte_view text, std::uint8_t reason) {
    begin_command(context, deactivate_command);
    if (const result checked = check_deactivation(text, reason); !ok(checked)) {
        report_firmware_failure(context);
        return checked;
    }
    std::array<std::uint8_t, deactivation_payload_size> payload{};
    payload.front() = reason;
    std::copy_n(text.begin(), std::min(text.size(), deactivation_text_size), payload.begin() + 1);
    std::vector<std::uint8_t> response;
    return run_command(context, deactivate_command, payload, response);
}

}  // namespace vellum
