#include "tpm/pcr5_events.h"

#include <limits>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"
#include "disk/gpt_layout.h"
#include "tpm/pcr_checks.h"

namespace vellum {
namespace {

// In UEFI variable data the name's length counts UTF-16 units.
constexpr std::size_t name_unit_size = 2;

// Bytes of the variable's data that precede the seal data.
constexpr std::size_t before_seal_data = 17;

// The variable's data; false when a length does not fit the event.
[[nodiscard]] bool read_variable_data(byte_view event_data, byte_view& out) {
    byte_reader reader(event_data);
    std::uint64_t name_length = 0;
    std::uint64_t data_length = 0;
    if (!reader.skip(guid_size) || !reader.u64_le(name_length) || !reader.u64_le(data_length)) {
        return false;
    }
    return name_length <= reader.remaining() / name_unit_size && reader.skip(name_unit_size * name_length) &&
           reader.view(data_length, out);
}

// The size of GPT data with so many entries; a count that has no such size gives one that no event has.
std::uint64_t gpt_data_size(std::uint64_t partitions) {
    constexpr std::uint64_t no_size = std::numeric_limits<std::int64_t>::max();
    return partitions > (no_size - gpt_event_fixed_size) / gpt_entry_size
               ? no_size
               : gpt_event_fixed_size + gpt_entry_size * partitions;
}

// Forgets an event that fails its digest check; an event that is not there passes.
bool check_digest(const tpm_event*& event) {
    if (event == nullptr || check_event_digest(*event)) {
        return true;
    }
    event = nullptr;
    return false;
}

}  // namespace

byte_view seal_data_of(byte_view variable_data) {
    return variable_data.size() < before_seal_data + min_seal_data_size ? byte_view()
                                                                        : variable_data.subspan(before_seal_data);
}

bool find_pcr5_events(const tpm_events_chains& chains, pcr5_events& out) {
    out = pcr5_events();
    out.separator_by_type = find_tpm_log_event(chains, is_separator_event);
    out.separator_by_digest = find_tpm_log_event(chains, has_separator_digest);
    out.seal = find_tpm_log_event(chains, is_seal_event);
    out.disk_measurement = find_tpm_log_event(chains, is_disk_measurement_event);
    out.gpt = find_tpm_log_event(chains, is_gpt_event);
    if (out.separator_by_type == nullptr) {
        report("separator-missing"_id, "Could not find PCR[5] Event with EV_SEPARATOR type in TPM Log Event.")
            .field("pcr", 5);
    }
    if (out.separator_by_digest == nullptr) {
        report("separator-digest-missing"_id,
               "Could not find PCR[5] Event with EV_SEPARATOR signature in TPM Log Event.")
            .field("pcr", 5);
    }
    if (out.seal == nullptr) {
        report("seal-event-missing"_id, "Could not find PCR[5] Seal Measurement Event in TPM Event Log.")
            .field("pcr", 5);
    }
    if (out.disk_measurement == nullptr) {
        log_at(log_level::debug, "Could not find optional Disk Measurement Event in TPM Event Log.");
    }
    if (out.gpt == nullptr) {
        report("gpt-event-missing"_id, "Could not find PCR[5] EFI GPT Event in TPM Event Log.").field("pcr", 5);
    }
    return out.separator_by_type != nullptr && out.separator_by_digest != nullptr && out.seal != nullptr &&
           out.gpt != nullptr;
}

bool check_pcr5_event_digests(pcr5_events& events) {
    bool genuine = true;
    if (events.separator_by_type != nullptr && !has_separator_digest(*events.separator_by_type)) {
        report(
            "separator-forged"_id,
            "Possible TPM Event type forgery attack detected. Event with EV_SEPARATOR type in PCR[5] at position %d has invalid digest.",
            static_cast<int>(events.separator_by_type->log_position))
            .field("pcr", events.separator_by_type->pcr)
            .field("position", events.separator_by_type->log_position)
            .field("actual", byte_view(events.separator_by_type->digest));
        events.separator_by_type = nullptr;
        genuine = false;
    }
    genuine = check_digest(events.seal) && genuine;
    genuine = check_digest(events.disk_measurement) && genuine;
    return check_digest(events.gpt) && genuine;
}

bool check_seal_event_data(pcr5_events& events) {
    if (events.seal == nullptr) {
        return false;
    }
    const byte_view event_data = events.seal->data;
    byte_view variable_data;
    if (!read_variable_data(event_data, variable_data)) {
        report("seal-event-size"_id, "Seal Event data size %d is invalid.", static_cast<int>(event_data.size()))
            .field("position", events.seal->log_position)
            .field("size", event_data.size());
    } else if (const byte_view seal_data = seal_data_of(variable_data); seal_data.empty()) {
        report("seal-event-variable-size"_id, "Seal Event variable data size %d is invalid, expected at least %lld.",
               static_cast<int>(event_data.size()), static_cast<long long>(min_seal_data_size))
            .field("position", events.seal->log_position)
            .field("size", event_data.size())
            .field("expected", min_seal_data_size);
    } else {
        events.seal_data = seal_data;
        return true;
    }
    dump_titled(log_level::error, "Seal Event data", event_data);
    return false;
}

bool check_gpt_event_data(pcr5_events& events) {
    if (events.gpt == nullptr) {
        return false;
    }
    const byte_view data = events.gpt->data;
    byte_reader reader(data);
    std::uint64_t partitions = 0;
    if (!reader.skip(gpt_header_size) || !reader.u64_le(partitions)) {
        report("gpt-event-too-short"_id, "GPT Event data size %d is invalid, expected at least %lld.",
               static_cast<int>(data.size()), static_cast<long long>(gpt_event_fixed_size))
            .field("position", events.gpt->log_position)
            .field("size", data.size())
            .field("expected", gpt_event_fixed_size);
        return false;
    }
    const std::uint64_t expected_size = gpt_data_size(partitions);
    if (data.size() != expected_size) {
        report("gpt-event-size"_id, "GPT Event data size %d is invalid, expected exactly %lld.",
               static_cast<int>(data.size()), static_cast<long long>(expected_size))
            .field("position", events.gpt->log_position)
            .field("size", data.size())
            .field("expected", expected_size);
        return false;
    }
    events.gpt_data = data;
    return true;
}

byte_view sealed_configuration(byte_view seal_data) {
    return seal_data.size() < min_seal_data_size
               ? byte_view()
               : seal_data.subspan(seal_configuration_offset, seal_configuration_size);
}

}  // namespace vellum
