#include "app/unseal_mode.h"

#include "app/device_state.h"
#include "core/findings.h"
#include "core/log.h"
#include "firmware/version.h"
#include "seal/unseal_conditions.h"

namespace vellum {
namespace {

result connect(firmware_device& device, FirmwareCommandContext& context, bool bypass_version_check) {
    const result connected = connect_firmware(device);
    if (!ok(connected)) {
        return connected;
    }
    const result checked = check_version(context, bypass_version_check);
    if (ok(checked) && bypass_version_check) {
        flush_messages(log_level::warning, "", flush_order::newest_first);
    }
    return checked;
}

result check_allowed(FirmwareCommandContext& context) {
    feature_state_response response;
    seal_log log;
    const result done = retrieve_state(context, response, log);
    return ok(done) ? check_unseal_allowed(response.feature_state, response.seal.flags, log) : done;
}

result unseal(const command_options& options, firmware_device& device) {
    FirmwareCommandContext context;
    context.operation = "Seal deactivation";
    result done = check_deactivation_reason(options.unseal_reason);
    if (ok(done)) {
        done = connect(device, context, options.bypass_version_check);
    }
    if (ok(done)) {
        done = check_allowed(context);
    }
    if (!ok(done)) {
        return done;
    }
    // The firmware would keep a text with the deactivation; there is none to give.
    return deactivate_feature(context, as_bytes(""), static_cast<std::uint8_t>(options.unseal_reason));
}

}  // namespace

int run_unseal_mode(const command_options& options, const platform& machine) {
    log_at(log_level::info, "Unsealing the device...\n");
    const result done = unseal(options, machine.firmware);
    if (ok(done)) {
        write_console(log_level::brief, "Unsealed the device successfully\n", colour::green);
        log_to_file(log_level::brief, "Unsealed the device successfully");
    }
    return exit_code(done);
}

}  // namespace vellum
