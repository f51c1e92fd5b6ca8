#include "app/unseal_mode.h"

#include "app/device_state.h"
#include "core/findings.h"
#include "core/log.h"
#include "firmware/firmware_link.h"
#include "firmware/version.h"
#include "seal/unseal_conditions.h"

namespace vellum {
namespace {

result connect(firmware_device& device, FirmwareCommandContext& context, bool bypass_version_check) {
    RETURN_IF_FAILED(context.link->open(device));
    const result checked = check_version(context, bypass_version_check);
    if (ok(checked) && bypass_version_check) {
        flush_messages(log_level::warning, "", flush_order::newest_first);
    }
    return checked;
}

result check_allowed(FirmwareCommandContext& context) {
    feature_state_response response;
    seal_log log;
    RETURN_IF_FAILED(retrieve_state(context, response, log));
    return check_unseal_allowed(response.feature_state, response.seal.flags, log);
}

result unseal(const command_options& options, firmware_device& device, firmware_link& link) {
    FirmwareCommandContext context;
    context.link = &link;
    context.operation = "Seal deactivation";
    RETURN_IF_FAILED(check_deactivation_reason(options.unseal_reason));
    RETURN_IF_FAILED(connect(device, context, options.bypass_version_check));
    RETURN_IF_FAILED(check_allowed(context));
    // The firmware would keep a text with the deactivation; there is none to give.
    return deactivate_feature(context, as_bytes(""), static_cast<std::uint8_t>(options.unseal_reason));
}

}  // namespace

int run_unseal_mode(const command_options& options, const platform& machine) {
    log_at(log_level::info, "Unsealing the device...\n");
    firmware_link link;  // closes after the last word
    const result done = unseal(options, machine.firmware, link);
    if (ok(done)) {
        write_console(log_level::brief, "Unsealed the device successfully\n", colour::green);
        log_to_file(log_level::brief, "Unsealed the device successfully");
    }
    return exit_code(done);
}

}  // namespace vellum
