// The stages that talk to the firmware, and those that judge what it says of feature and seal.
#include "app/checks.h"
#include "app/device_state.h"
#include "core/findings.h"
#include "firmware/seal_config.h"
#include "firmware/version.h"
#include "seal/seal_data.h"
#include "seal/seal_events.h"

namespace vellum {
namespace {

void report_current_state(const feature_state_response& response) {
    report("feature-state-wrong"_id, "The KVR Feature is now: %s.",
           combined_state_description(response.feature_state, response.seal_state))
        .field("feature_state", response.feature_state)
        .field("seal_state", response.seal_state);
}

// Known even when the Device ID itself cannot be read.
std::optional<std::uint32_t> sealed_device_id_type(const struct seal_log& log) {
    const std::optional<seal_data> data = find_seal_data(log);
    return data ? std::optional<std::uint32_t>(data->device_id_type) : std::nullopt;
}

}  // namespace

stage_outcome open_connection(validation_state& state) {
    if (!ok(state.link.open(state.machine.firmware, state.driver)) ||
        !ok(check_version(state.firmware, state.options.bypass_version_check))) {
        return failed();
    }
    return pass_or_warn(state.options.bypass_version_check);
}

stage_outcome retrieve_feature_state(validation_state& state) {
    feature_state_response response;
    struct seal_log log;
    if (!ok(retrieve_state(state.firmware, response, log))) {
        return failed();
    }
    state.seal_signature = read_seal_signature(response.seal_signature());  // an accepted response has all of it
    state.feature_state = std::move(response);
    state.seal_log = std::move(log);
    if (!state.seal_signature) {
        note("seal-signature-incomplete"_id).field("size", state.feature_state->seal_signature().size());
    }
    return pass_if(state.seal_signature.has_value());
}

stage_outcome retrieve_seal_config(validation_state& state) {
    state.seal_config = state.feature_state->seal;
    return passed();
}

stage_outcome check_feature_active(validation_state& state) {
    const bool active = state.feature_state->feature_state == feature_state_active;
    if (!active) {
        report_current_state(*state.feature_state);
    }
    return pass_if(active);
}

stage_outcome check_seal_intact(validation_state& state) {
    const std::uint32_t seal = state.feature_state->seal_state;
    if (seal == seal_state_broken) {
        print_seal_broken_reasons(*state.seal_log);
    } else if (seal != seal_state_intact) {
        report_current_state(*state.feature_state);
    }
    return pass_if(seal == seal_state_intact);
}

stage_outcome match_seal_config(validation_state& state) {
    std::optional<std::uint16_t> pmf_word;
    PMF::SystemInfoExtension info;
    if (state.pmf && ok(get_pmf_extension(*state.pmf, info))) {
        pmf_word = info.seal_configuration;
    }
    return check_seal_config(*state.seal_config, pmf_word,
                             {.expected = state.config.seal,
                              .expected_device_id_source = state.config.device_id_source,
                              .expected_algorithm = state.config.expected_seal_signing_algorithm,
                              .sealed_device_id_type = sealed_device_id_type(*state.seal_log),
                              .sealed_algorithm = state.seal_signature->algorithm});
}

}  // namespace vellum
