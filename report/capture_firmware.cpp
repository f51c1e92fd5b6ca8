#include <algorithm>
#include <string>

#include "core/findings.h"
#include "core/log.h"
#include "firmware/commands.h"
#include "firmware/firmware_link.h"
#include "platform/recorded/firmware_device.h"
#include "report/capture.h"

namespace vellum::reporting {
namespace {

// What was reported, the gist first, as one line.
std::string pushed_reason() {
    std::string reason = take_messages(flush_order::newest_first);
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    return reason;
}

std::string version_text(const peli_driver_version& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.hotfix) + "." + std::to_string(version.build) + "\n";
}

// Records the driver and the client; false when there is no client to talk to.
[[nodiscard]] bool capture_client(firmware_device& device, record_writer& out) {
    peli_facts facts;
    firmware_link link;
    const bool connected = ok(link.open(device, facts));
    const std::uint32_t length = link.max_message_length();
    link.close();
    const std::string reason = pushed_reason();
    if (facts.driver) {
        out.write("firmware/driver_version", version_text(*facts.driver));
    }
    if (connected) {
        out.write("firmware/max_message_length", std::to_string(length) + "\n");
    } else if (facts.client_absent) {
        out.write("firmware/client_absent", "");
    } else {
        out.problem(facts.driver ? "firmware/max_message_length" : "firmware", reason);
    }
    return connected;
}

// Each command has a connection of its own, so that no late response passes for the response to another command. What
// comes is recorded, whatever it is.
void capture_response(firmware_device& device, recorded_response wanted, record_writer& out) {
    std::vector<std::uint8_t> response;
    firmware_link link;
    result exchanged = link.open(device);
    if (ok(exchanged)) {
        response.resize(link.max_message_length());
        exchanged = send_command(link, build_request(wanted.command, {}), 0, response);
    }
    link.close();
    const std::string reason = pushed_reason();
    if (ok(exchanged)) {
        out.write(wanted.file, response);
    } else {
        out.problem(wanted.file, reason);
    }
}

}  // namespace

void capture_firmware(const platform& machine, record_writer& out) {
    if (!capture_client(machine.firmware, out)) {
        return;
    }
    // The command that deactivates the feature must never be sent here.
    for (const recorded_response& wanted : recorded_responses) {
        if (wanted.command != firmware_command::FEATURE_DEACTIVATE) {
            capture_response(machine.firmware, wanted, out);
        }
    }
}

}  // namespace vellum::reporting
