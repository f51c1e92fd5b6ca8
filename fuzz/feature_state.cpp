// The firmware's state response: seal configuration, hotkey, seal log and seal signature.
#include "firmware/feature_state.h"
#include "config/hotkey.h"
#include "core/findings.h"
#include "firmware/seal_config.h"
#include "fuzz/fuzz_session.h"
#include "lab/device.h"
#include "pmf/parser.h"
#include "seal/seal_events.h"
#include "seal/seal_sequence.h"
#include "seal/seal_signature.h"
#include "seal/unseal_conditions.h"

namespace vellum::fuzz {
namespace {

constexpr std::int64_t now = 1'772'445'600;  // 2026-03-02 10:00:00 UTC, that of the session's clock

// What is known beside the response: of the sample devices, one of each trusted level.
struct sample_knowledge {
    std::optional<PmfDocument> pmf;  // of the device with a key
    Tl3SealIdentity identity;        // of the device without one
};

sample_knowledge make_knowledge() {
    lab::device with_key;
    lab::device without_key;
    sample_knowledge known;
    lab::device_plan plan;
    const bool made =
        ok(lab::make_device(plan, with_key)) && ok(parse_pmf(with_key.platform_measurements, known.pmf));
    plan.level = lab::trusted_level::tl3;
    demand(made && ok(lab::make_device(plan, without_key)) &&
               ok(read_tl3_identity_file(scratch().write("tl3.csv", without_key.tl3_file), known.identity)),
           "the sample devices can be made");
    return known;
}

stage_verdict seal_verdict(byte_view response, const seal_log& log) {
    static const sample_knowledge known = make_knowledge();
    const auto signature = read_seal_signature(response.subspan(seal_signature_offset));
    demand(signature.has_value(), "an accepted response holds a whole seal signature");
    return verify_seal_signature({log, *signature, true, &known.identity, &*known.pmf, now}).verdict;
}

void check_records(const seal_log& log) {
    std::vector<std::uint8_t> written;
    for (const seal_record& record : log.records) {
        for (const std::uint32_t number : {record.id, record.timestamp}) {
            for (int shift = 0; shift < 32; shift += 8) {
                written.push_back(static_cast<std::uint8_t>(number >> shift));
            }
        }
        written.insert(written.end(), record.data.begin(), record.data.end());
    }
    demand(starts_with(log.record_bytes, written), "the records are those of the response");
    demand(log.record_bytes.size() - written.size() < seal_record_size, "no whole record is left out");
    const stage_verdict sequence = verify_seal_log(log, true, now).verdict;
    demand(
        sequence != stage_verdict::passed || validate_seal_log_sequence(log, now).verdict == sequence_verdict::valid,
        "a seal log that passes is a valid history");
    print_seal_broken_reasons(log);
    sealed_device_id id;
    if (ok(device_id_from_seal_log(log, id))) {
        any_outcome(match_device_id(id.type, id.id, {}, std::nullopt));
    }
    any_outcome(compare_pmf_hash_with_seal_log(log, {}));
}

void check_configuration(const feature_state_response& state) {
    const auto signature = read_seal_signature(state.seal_signature());
    demand(signature.has_value(), "an accepted response holds a whole seal signature");
    std::uint16_t word = 0;
    demand(ok(ini_seal_config_to_word(state.seal.flags, word)), "flags from a word make a word");
    demand((word & ~state.configuration) == 0 && compare_seal_config_words(word, "a", state.configuration, "b") == 0,
           "the word is the same but for its reserved bits");
    any_outcome(print_seal_config(log_level::debug, state.seal));
    const byte_view room = state.seal.hotkey;
    const byte_view hotkey = room.first(std::min<std::size_t>(state.seal.hotkey_length, room.size()));
    any_outcome(print_hotkey_sequence(hotkey));
    any_outcome(check_seal_config(state.seal, state.configuration,
                                  {state.seal, DeviceIdSource::UUID, {}, std::nullopt, signature->algorithm}));
}

// A trusted seal is no longer trusted once a bit of what is signed is changed; the bytes signed as zeros decide
// nothing.
void check_signature(const feature_state_response& state, const seal_log& log) {
    const stage_verdict trusted = seal_verdict(state.bytes, log);
    if (trusted == stage_verdict::failed) {
        return;
    }
    std::vector<std::uint8_t> changed = state.bytes;
    const std::size_t bit = (state.seal_state + state.bytes.size()) % (8 * signed_signature_size);
    std::uint8_t& byte = changed[seal_signature_offset + bit / 8];
    byte = static_cast<std::uint8_t>(byte ^ (1U << bit % 8));
    const bool covered = bit / 8 < signed_as_zeros_offset || bit / 8 >= signed_as_zeros_offset + signed_as_zeros_size;
    demand(seal_verdict(changed, log) == (covered ? stage_verdict::failed : trusted),
           covered ? "a changed seal is not trusted" : "bytes that are not signed do not decide");
}

}  // namespace

void check(byte_view input) {
    feature_state_response state;
    if (!ok(parse_feature_state({input.begin(), input.end()}, state))) {
        demand(state.bytes.empty() && state.seal_log_block().empty(), "a refused response leaves nothing");
        return;
    }
    demand(equal_bytes(state.bytes, input), "the response is kept as it is");
    check_configuration(state);
    seal_log log;
    demand(ok(read_seal_log(state.seal_log_block(), log)), "an accepted response holds a whole seal log");
    demand(log.seal_state == state.seal_state, "there is one seal state");
    check_records(log);
    check_signature(state, log);
    any_outcome(check_unseal_allowed(state.feature_state, state.seal.flags, log));
}

}  // namespace vellum::fuzz
