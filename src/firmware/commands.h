// The commands that are sent to the firmware's Kovrin client, and their answers. All integers are little-endian.
//
// A request is a header of 12 bytes (header version 1, command, payload length, 32 bits each) and the payload. A
// response begins with 16 bytes: header version, command, buffer length, status.
//
// Every operation raises its failure, report_firmware_failure() included. Results: transport_failure when the message
// did not get through or the answer is shorter than what it claims to hold; internal_failure when the firmware
// answers with a status or to another command, and when memory runs out.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"
#include "firmware/status.h"
#include "platform/firmware_command.h"

namespace vellum {

class firmware_link;

inline constexpr std::size_t request_header_size = 12;   // bytes
inline constexpr std::size_t response_header_size = 16;  // bytes
inline constexpr std::size_t deactivation_text_size = 152;

// Header and payload.
std::vector<std::uint8_t> build_request(firmware_command command, byte_view payload);

// Sends a request and waits for the answer. `response` comes in the size of the largest answer and is cut to the one
// received, which is at least `smallest` bytes long. Does not look at its command or status.
result send_command(firmware_link& link, byte_view request, std::size_t smallest,
                    std::vector<std::uint8_t>& response);

// Also logs the version.
result get_version(FirmwareCommandContext& context, firmware_version& out);

// The whole response (its layout: firmware/feature_state.h). Records both states in the context and logs them.
result get_feature_state(FirmwareCommandContext& context, std::vector<std::uint8_t>& response);

// The Platform Measurements File that the firmware holds.
result get_pmf(FirmwareCommandContext& context, std::vector<std::uint8_t>& pmf);

// Whether the bytes begin as a response does.
bool is_response(byte_view message);

// The same file out of a response that was received before, with the demands that get_pmf() makes on it. A wrong size
// is a finding; of a status or another command that fails it, the context is all that tells.
result read_pmf_response(FirmwareCommandContext& context, byte_view response, std::vector<std::uint8_t>& pmf);

// Raises and returns invalid for a reason that is none: 0 to 2 are (attestation successful, attestation error, seal
// aborted).
result check_deactivation_reason(int reason);

// Unseals. The text is cut to 152 bytes or filled up with zeros; a missing one is an internal failure, a reason above
// 2 is invalid, and nothing is sent then.
result deactivate_feature(FirmwareCommandContext& context, byte_view text, std::uint8_t reason);

}  // namespace vellum
