// The stages that talk to the firmware, and those that judge what it says of feature and seal.
#include "app/checks.h"
#include "app/stages.h"
#include "firmware/peli.h"
#include "firmware/seal_config.h"
#include "seal/seal_signature.h"

namespace vellum {
namespace {

constexpr std::uint32_t feature_active = 2;
constexpr std::uint32_t seal_intact = 1;
constexpr std::uint32_t seal_broken = 2;

void push_current_state(const feature_state_response& response) {
    static_cast<void>(push_message("The KVR Feature is now: %s.",
                                   combined_state_description(response.feature_state, response.seal_state)));
}

}  // namespace

stage_outcome open_connection(validation_state& state) {
    if (!ok(peli_init(state.machine.firmware))) {
        return {};
    }
    log_at(log_level::debug, "PELI connection established");
    if (!ok(check_version(state.firmware, state.bypass_version_check))) {
        return {};
    }
    return {state.bypass_version_check ? verdict::passed_with_warnings : verdict::passed, "", ""};
}

stage_outcome retrieve_feature_state(validation_state& state) {
    std::vector<std::uint8_t> bytes;
    feature_state_response response;
    struct seal_log log;
    if (!ok(get_feature_state(state.firmware, bytes)) || !ok(parse_feature_state(std::move(bytes), response)) ||
        !ok(read_seal_log(response.seal_log_block(), log))) {
        return {};
    }
    state.feature_state = std::move(response);
    state.seal_log = std::move(log);
    return pass_if(true);
}

stage_outcome retrieve_seal_config(validation_state& state) {
    state.seal_config = state.feature_state->seal;
    return pass_if(true);
}

stage_outcome check_feature_active(validation_state& state) {
    const bool active = state.feature_state->feature_state == feature_active;
    if (!active) {
        push_current_state(*state.feature_state);
    }
    return pass_if(active);
}

stage_outcome check_seal_intact(validation_state& state) {
    const std::uint32_t seal = state.feature_state->seal_state;
    if (seal == seal_broken) {
        print_seal_broken_reasons(*state.seal_log);
    } else if (seal != seal_intact) {
        push_current_state(*state.feature_state);
    }
    return pass_if(seal == seal_intact);
}

}  // namespace vellum
