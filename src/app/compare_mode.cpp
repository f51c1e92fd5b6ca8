#include "app/compare_mode.h"

#include "app/compared_pcrs.h"
#include "app/file_paths.h"
#include "app/observed_mode.h"
#include "app/stages.h"
#include "base/text.h"
#include "core/findings.h"

namespace vellum {
namespace {

void mark_stages(stage_table& stages) {
    stages.states.fill(STAGE_NOT_APPLICABLE);
    stages.states[SLOT_RETRIEVE_TPM_LOG] = STAGE_NOT_STARTED;
    stages.states[SLOT_REFERENCE_LOG] = STAGE_NOT_STARTED;
}

result choose_pcrs(const command_options& options, validation_state& state) {
    if (!options.compared_pcrs) {
        return result::success;
    }
    const auto mask = parse_compared_pcrs(*options.compared_pcrs);
    if (!mask) {
        report(
            "compared-pcrs-invalid"_id,
            "Invalid value of the compared_pcrs parameter. Provided value is '%s'. Only unique comma separated numbers from range <0, 23> are allowed.",
            shown_text(*options.compared_pcrs).c_str())
            .field("value", *options.compared_pcrs);
        return result::invalid;
    }
    state.compared_pcrs = mask;
    return result::success;
}

result prepare(const command_options& options, validation_state& state) {
    mark_stages(state.stages);
    take_options(options, state);
    log_at(log_level::info, "Comparing reference TPM log against live TPM log ...\n");
    RETURN_IF_FAILED(choose_pcrs(options, state));
    RETURN_IF_FAILED(resolve_file_paths(std::nullopt, state));
    return load_reference_tpm_log(state.reference_tpm_log_file, state.reference_log);
}

}  // namespace

int run_compare_mode(const command_options& options, const platform& machine, run_observer* observer) {
    return run_observed(machine, observer, [&options](validation_state& state) {
        const result prepared = prepare(options, state);
        if (!ok(prepared)) {
            return exit_code(prepared);
        }
        run_stage(SLOT_RETRIEVE_TPM_LOG, state);
        run_stage(SLOT_REFERENCE_LOG, state);
        return conclude(state);
    });
}

}  // namespace vellum
