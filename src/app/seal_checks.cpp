// The stages that judge the seal log, the seal signature, and the Device ID that was sealed.
#include "app/checks.h"
#include "config/tl3_file.h"
#include "seal/seal_sequence.h"
#include "seal/seal_signature.h"

namespace vellum {
namespace {

// The identity file belongs to signed seals of trusted level 3.
bool is_held_against_identity_file(const validation_state& state) {
    constexpr auto level_3 = signature_scheme::sha256_null_encryption;
    return state.seal_config->flags.seal_signing != 0 && state.config.expected_seal_signing_algorithm == level_3 &&
           state.seal_signature->algorithm == static_cast<std::uint32_t>(level_3);
}

}  // namespace

stage_outcome check_seal_signature(validation_state& state) {
    // Read here, so that what is wrong with it stands under the stage's result.
    std::optional<Tl3SealIdentity> identity;
    if (is_held_against_identity_file(state)) {
        Tl3SealIdentity read;
        if (ok(read_tl3_identity_file(state.config.tl3_seal_identity_verification_file, read))) {
            identity = std::move(read);
        }
    }
    return verify_seal_signature({
        .log = *state.seal_log,
        .signature = *state.seal_signature,
        .signing_enabled = state.seal_config->flags.seal_signing != 0,
        .identity = identity ? &*identity : nullptr,
        .pmf = state.pmf ? &*state.pmf : nullptr,
        .now = state.machine.time.now(),
    });
}

stage_outcome check_seal_log(validation_state& state) {
    return verify_seal_log(*state.seal_log, state.seal_config->flags.sed_lock != 0, state.machine.time.now());
}

stage_outcome retrieve_sealed_device_id(validation_state& state) {
    struct sealed_device_id found;
    if (!ok(device_id_from_seal_log(*state.seal_log, found))) {
        return failed();
    }
    state.sealed_device_id = found;
    return passed();
}

stage_outcome check_device_id(validation_state& state) {
    const platform_identity identity = {state.smbios.uuid, state.smbios.serial_number};
    return match_device_id(state.sealed_device_id->type, state.sealed_device_id->id, identity,
                           state.external_device_id);
}

}  // namespace vellum
