#include "app/validate_mode.h"

#include "app/file_paths.h"
#include "app/stages.h"

namespace vellum {
namespace {

void copy_options(const command_options& options, validation_state& state) {
    state.skip_retrieving_pcrs = options.skip_retrieving_pcrs;
    state.skip_retrieving_tpm_event_log = options.skip_retrieving_tpm_event_log;
    state.skip_retrieving_platform_measurements = options.skip_retrieving_platform_measurements;
    state.skip_iwl_validation = options.skip_iwl_validation;
    state.bypass_version_check = options.bypass_version_check;
    state.pmf_file = options.pmf_file;
    take_log_files(options, state);
    state.firmware.operation = "KVR Seal validation";
}

// The command line wins over the configuration file.
result load_expectations(const command_options& options, validation_state& state) {
    const result loaded = load_config(options.config_file.value_or(default_config_file), state.config);
    if (options.tl3_seal_identity_verification_file) {
        state.config.tl3_seal_identity_verification_file = *options.tl3_seal_identity_verification_file;
    }
    if (options.pmf_external_certificate_path) {
        state.config.pmf_external_certificate_path = *options.pmf_external_certificate_path;
    }
    return loaded;
}

result take_external_device_id(const command_options& options, validation_state& state) {
    const DeviceIdSource source = state.config.device_id_source;
    if (!options.external_device_id || !source_takes_external_id(source)) {
        return result::success;
    }
    device_id given;
    const result taken = set_external_device_id(source, *options.external_device_id, given);
    if (ok(taken)) {
        state.external_device_id = given;
    }
    return taken;
}

result read_reference_log(validation_state& state) {
    if (state.reference_tpm_log_file.empty()) {
        log_at(log_level::info, "Reference TPM Log was not provided.");
        return result::success;
    }
    return load_reference_tpm_log(state.reference_tpm_log_file, state.reference_log);
}

result prepare(const command_options& options, validation_state& state) {
    result done = read_expectations(options, state);
    if (ok(done)) {
        done = take_external_device_id(options, state);
    }
    return ok(done) ? read_reference_log(state) : done;
}

}  // namespace

result read_expectations(const command_options& options, validation_state& state) {
    copy_options(options, state);
    result done = load_expectations(options, state);
    if (ok(done)) {
        done = resolve_file_paths(options.external_device_id, state);
    }
    if (ok(done)) {
        place_configured_files(options, state);
    }
    return done;
}

int run_validate_mode(const command_options& options, const platform& machine) {
    validation_state state(machine);
    const result prepared = prepare(options, state);
    if (!ok(prepared)) {
        return exit_code(prepared);
    }
    run_all_stages(state);
    return conclude(state);
}

}  // namespace vellum
