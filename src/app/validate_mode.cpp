#include "app/validate_mode.h"

#include "app/file_paths.h"
#include "app/observed_mode.h"
#include "app/stages.h"

namespace vellum {
namespace {

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
    RETURN_IF_FAILED(read_expectations(options, state));
    RETURN_IF_FAILED(take_external_device_id(options, state));
    return read_reference_log(state);
}

}  // namespace

result read_expectations(const command_options& options, validation_state& state) {
    take_options(options, state);
    state.firmware.operation = "KVR Seal validation";
    RETURN_IF_FAILED(load_expectations(options, state));
    RETURN_IF_FAILED(resolve_file_paths(options.external_device_id, state));
    place_configured_files(options, state);
    return result::success;
}

int run_validate_mode(const command_options& options, const platform& machine, run_observer* observer) {
    return run_observed(machine, observer, [&options](validation_state& state) {
        const result prepared = prepare(options, state);
        if (!ok(prepared)) {
            return exit_code(prepared);
        }
        run_all_stages(state);
        return conclude(state);
    });
}

}  // namespace vellum
