#include "tpm/pcr5_stages.h"

#include <algorithm>
#include <array>

#include "core/digest.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

bool measured_before(const tpm_event& event, const tpm_event& other) {
    return event.log_position < other.log_position;
}

// Something ahead of the separator measured the same value under another type.
bool warn_of_early_separator_digest(const pcr5_events& events) {
    const tpm_event& by_digest = *events.separator_by_digest;
    if (!measured_before(by_digest, *events.separator_by_type)) {
        return false;
    }
    const finding_lines raised =
        report(
            "separator-digest-early"_id,
            "WARNING: Found TPM Log PCR[5] event at position %d in TPM Log that matches EV_SEPARATOR Event digest but has invalid type: 0x%x(%s).",
            static_cast<int>(by_digest.log_position), by_digest.type, tpm_event_type_name(by_digest.type))
            .field("pcr", by_digest.pcr)
            .field("position", by_digest.log_position)
            .field("limit", events.separator_by_type->log_position);
    add_event_type(raised, "event_type", by_digest.type);
    return true;
}

}  // namespace

stage_outcome validate_pcr5_events(const tpm_events_chains& chains, pcr5_events& out) {
    const bool found = find_pcr5_events(chains, out);
    const bool warned = found && warn_of_early_separator_digest(out);
    const bool digests = check_pcr5_event_digests(out);
    const bool seal = check_seal_event_data(out);
    const bool gpt = check_gpt_event_data(out);
    return found && digests && seal && gpt ? pass_or_warn(warned) : failed();
}

bool can_check_pre_os_seal(const pcr5_events& events) {
    return events.seal != nullptr && events.separator_by_type != nullptr && events.separator_by_digest != nullptr;
}

stage_outcome check_pre_os_seal(const pcr5_events& events) {
    if (!can_check_pre_os_seal(events)) {
        return failed();
    }
    const auto seal_position = static_cast<int>(events.seal->log_position);
    const auto separator_position = static_cast<int>(events.separator_by_type->log_position);
    if (measured_before(*events.separator_by_type, *events.seal)) {
        report(
            "seal-event-after-separator"_id,
            "ERROR: PCR[5] Seal TPM event at position %d in TPM Log was measured after PCR[5] EV_SEPARATOR event at position %d in TPM Log.",
            seal_position, separator_position)
            .field("pcr", events.seal->pcr)
            .field("position", seal_position)
            .field("limit", separator_position);
        return failed();
    }
    if (measured_before(*events.separator_by_digest, *events.seal)) {
        report(
            "seal-event-after-separator-digest"_id,
            "WARNING: Possible TPM Event type forgery attack detected. PCR[5] Seal TPM event was measured at position %d in TPM Log before valid PCR[5] EV_SEPARATOR event at position %d in TPM Log but after PCR[5] event at position %d in TPM Log with valid EV_SEPARATOR digest and type other than EV_SEPARATOR.",
            seal_position, separator_position, static_cast<int>(events.separator_by_digest->log_position))
            .field("pcr", events.seal->pcr)
            .field("position", seal_position)
            .field("limit", events.separator_by_digest->log_position);
        return passed_with_warnings();
    }
    return passed();
}

stage_outcome match_seal_log_hash(byte_view seal_log_records, byte_view seal_data) {
    sha256_value digest{};
    if (seal_data.size() < min_seal_data_size || !ok(sha256(seal_log_records, digest))) {
        return failed();
    }
    std::array<std::uint8_t, seal_log_hash_size> actual{};
    std::copy(digest.begin(), digest.end(), actual.begin());
    const byte_view measured = seal_data.subspan(seal_log_hash_offset, seal_log_hash_size);
    if (equal_bytes(measured, actual)) {
        return passed();
    }
    note("seal-record-hash-differs"_id)
        .field("expected", measured)
        .field("expected_source", "TPM Log")
        .field("actual", byte_view(actual))
        .field("actual_source", "Seal Log");
    return failed();
}

}  // namespace vellum
