#include "report/identity.h"

#include <initializer_list>
#include <nlohmann/json.hpp>

#include "app/stages.h"
#include "base/text.h"
#include "core/log_silence.h"
#include "platform/bounded_file.h"

namespace vellum::reporting {
namespace {

using json = nlohmann::ordered_json;

constexpr const char* schema = "vellum-identity";
constexpr int schema_version = 1;
constexpr std::uint64_t max_identity_file = std::uint64_t{64} * 1024;  // bytes

// A text that stands under the key; empty when there is none.
std::string text_at(const json& object, const char* key) {
    const auto found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

[[nodiscard]] bool is_identity(const json& document) {
    const auto version = document.is_object() ? document.find("schema_version") : document.end();
    return text_at(document, "schema") == schema && version != document.end() && version->is_number_integer() &&
           version->get<std::int64_t>() == schema_version && document.contains("attestation_key");
}

[[nodiscard]] bool is_complete(const device_identity& identity) {
    return !identity.device.id.empty() && !identity.device.source.empty() && !identity.key_name.empty() &&
           !identity.public_key.empty();
}

// These stages alone, and nothing is kept of what they find.
void run_silently(validation_state& state, std::initializer_list<std::size_t> slots) {
    const log_silence silence;
    for (const std::size_t slot : slots) {
        run_stage(slot, state);
    }
    state.link.close();
    clear_messages();
}

}  // namespace

std::string identity_json(const device_identity& identity) {
    const json out = {
        {"schema", schema},
        {"schema_version", schema_version},
        {"device_id", identity.device.id},
        {"device_id_source", identity.device.source},
        {"attestation_key",
         {{"name", identity.key_name}, {"type", identity.key_type}, {"public_key", identity.public_key}}}};
    return out.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

std::optional<device_identity> read_identity(const std::string& path, std::string& why) {
    std::string text;
    if (!ok(read_bounded(path, max_identity_file, text))) {
        why = "it cannot be read";
        return std::nullopt;
    }
    const json document = json::parse(text, nullptr, false);
    if (!is_identity(document)) {
        why = "it is no identity that \"vellum-report enrol\" wrote";
        return std::nullopt;
    }
    const json& key = document["attestation_key"];
    device_identity out = {{text_at(document, "device_id_source"), text_at(document, "device_id")},
                           text_at(key, "name"),
                           text_at(key, "type"),
                           text_at(key, "public_key")};
    why = is_complete(out) ? "" : "it lacks a part of the identity";
    return is_complete(out) ? std::optional(std::move(out)) : std::nullopt;
}

bool is_seal_measured(const platform& machine) {
    validation_state state(machine);
    state.compared_pcrs = 0;  // but PCRs 0 and 5, which always are; else it would be all
    run_silently(state, {SLOT_CONNECTION, SLOT_FEATURE_STATE, SLOT_RETRIEVE_PCRS, SLOT_RETRIEVE_TPM_LOG,
                         SLOT_LOG_MATCHES_PCRS, SLOT_PCR5_EVENTS, SLOT_SEAL_LOG_HASH});
    return state.stages.passed(SLOT_LOG_MATCHES_PCRS) && state.stages.passed(SLOT_SEAL_LOG_HASH);
}

evidence_device_id read_sealed_device_id(const platform& machine) {
    validation_state state(machine);
    run_silently(state, {SLOT_CONNECTION, SLOT_FEATURE_STATE, SLOT_SEALED_DEVICE_ID});
    if (!state.sealed_device_id) {
        return {};
    }
    const log_silence silence;
    const auto source = static_cast<DeviceIdSource>(state.sealed_device_id->type);
    std::string id;
    const bool printable = ok(device_id_to_printable(source, state.sealed_device_id->id, id));
    clear_messages();
    // What cannot be shown as it is could pass for another.
    const bool plain = printable && shown_text(id) == id;
    return plain ? evidence_device_id{device_id_source_name(source), id} : evidence_device_id();
}

}  // namespace vellum::reporting
