#include "tpm/event_details/log_health.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "core/findings.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/profile_rules.h"

namespace vellum {
namespace {

// What a separator measures: all is well, twice, or the firmware's error.
constexpr std::string_view separator_values[] = {{"\0\0\0\0", 4}, "\xFF\xFF\xFF\xFF", {"\1\0\0\0", 4}};

std::uint32_t mask_of(const logged_event& event) {
    return event.pcr < pcr_count ? 1U << event.pcr : 0;
}

bool is_firmware_event(const logged_event& event) {
    return (mask_of(event) & firmware_pcrs) != 0 && event.type != EV_NO_ACTION;
}

// "event 12" or "event 12 and 3 more".
std::string events_text(const sighting& seen) {
    return "event " + std::to_string(seen.position) +
           (seen.count > 1 ? " and " + std::to_string(seen.count - 1) + " more" : "");
}

std::string capital(std::string text) {
    text.front() = to_upper(text.front());
    return text;
}

void add(std::vector<remark>& out, const char* id, remark_severity severity, const sighting& seen,
         std::string_view says) {
    add_remark(out, id, severity, seen.pcrs, seen.position, says);
}

// Of the whole log, or of PCRs without an event.
void add(std::vector<remark>& out, const char* id, remark_severity severity, std::uint32_t pcrs,
         std::string_view says) {
    add_remark(out, id, severity, pcrs, 0, says);
}

void add_end(byte_view log, const event_log_reader& end, std::vector<remark>& out) {
    const byte_view rest = log.subspan(end.position());
    const std::string where =
        counted(rest.size(), "byte") + " at " + std::to_string(end.position()) + " are left over";
    if (!rest.empty() && is_unused_area(rest)) {
        add(out, "filling", remark_severity::caution, 0,
            where + ", the filling of an area that is larger than the log.");
    } else if (!rest.empty()) {
        add(out, "left-over", remark_severity::damage, 0, where + ": " + flaw_text(end) + ".");
    }
}

}  // namespace

const char* flaw_text(const event_log_reader& log) {
    switch (log.flaw()) {
        case log_flaw::none: break;
        case log_flaw::event_cut: return "what follows is shorter than any event";
        case log_flaw::digests_cut: return "the digests of the next event reach past the end";
        case log_flaw::digest_count: return "the next event claims more digests than an event can have";
        case log_flaw::no_digests: return "the next event has no digest";
        case log_flaw::data_cut: return "the data of the next event reach past the end";
        case log_flaw::spec_id_cut: return "the Spec ID event is shorter than what it says it holds";
        case log_flaw::spec_id_version: return "the Spec ID event is of a version before 1.2";
        case log_flaw::spec_id_algorithms: return "the Spec ID event lists more algorithms than an event can have";
    }
    return log.oversized() ? "the next event claims a size that no log can have" : "its last event ends there";
}

void sighting::add(const logged_event& event, std::uint32_t at) {
    position = count == 0 ? at : position;
    type = count == 0 ? event.type : type;
    pcrs |= mask_of(event);
    ++count;
}

void sighting::add(const sighting& other) {
    if (position == 0 || (other.position != 0 && other.position < position)) {
        position = other.position;
        type = other.type;
    }
    pcrs |= other.pcrs;
    count += other.count;
}

log_health::log_health(const event_log_reader& log, std::vector<given_pcr> given)
    : replay_(log), comparison_(std::move(given), replay_) {
    const auto listed = log.algorithms();
    has_sha256_ = std::any_of(listed.begin(), listed.end(),
                              [](const auto& algorithm) { return algorithm.id == tpm_alg_sha256; });
    is_legacy_ = log.format() == log_format::legacy_sha1;
    logged_event spec_id;
    has_pcrs_ = !log.read_spec_id(spec_id) || spec_id.pcr == 0;
    judged_bank_ = replay_.bank_of(tpm_alg_sha256);
    if (!judged_bank_ && replay_.bank_count() > 0) {
        judged_bank_ = 0;
    }
    const auto algorithm = judged_bank_ ? replay_.algorithm(*judged_bank_) : std::uint16_t{0};
    auto hash = hasher::of_bank(algorithm);
    for (const std::string_view value : separator_values) {
        separator_digest digest{};
        if (hash && ok(hash->hash({as_bytes(value)}, std::span(digest).first(hash->size())))) {
            separator_digests_.push_back(digest);
        }
    }
}

bool log_health::is_separator_digest(byte_view digest) const {
    return std::any_of(separator_digests_.begin(), separator_digests_.end(),
                       [&](const separator_digest& known) { return starts_with(known, digest); });
}

bool log_health::is_error_digest(byte_view digest) const {
    return !separator_digests_.empty() && starts_with(separator_digests_.back(), digest);
}

void log_health::take(const logged_event& event, digest_proof proof) {
    ++position_;
    if (event.pcr >= pcr_count) {
        beyond_.add(event, position_);
    }
    if (replay_.extend(event)) {
        comparison_.take(event.pcr, position_, replay_);
    }
    const std::size_t false_before = false_separators_.count;
    if (has_pcrs_ && is_firmware_event(event)) {
        note_rules(event);
        note_digests(event);
    }
    if (proof == digest_proof::contradicted && false_separators_.count == false_before) {
        contradicted_.add(event, position_);
    }
}

// The digest that is judged by is looked at for what it says of the type.
void log_health::note_digests(const logged_event& event) {
    const std::uint16_t judged = judged_bank_ ? replay_.algorithm(*judged_bank_) : std::uint16_t{0};
    byte_view digest;
    for (const event_digest& each : event.banks()) {
        const bool extended = !all_zero(each.value);
        std::uint32_t& mask = each.algorithm == tpm_alg_sha256 ? sha256_extended_ : others_extended_;
        mask |= extended ? mask_of(event) : 0;
        digest = each.algorithm == judged && extended ? each.value : digest;
    }
    note_separator(event, digest);
}

void log_health::note_separator(const logged_event& event, byte_view digest) {
    const bool known = !digest.empty() && is_separator_digest(digest);
    if (event.type != EV_SEPARATOR) {
        if (known) {
            retyped_separators_[event.pcr].add(event, position_);
        }
        return;
    }
    if ((separated_ & mask_of(event)) != 0) {
        repeated_separators_.add(event, position_);
    }
    separated_ |= mask_of(event);
    if (!known && !digest.empty() && !separator_digests_.empty()) {
        false_separators_.add(event, position_);
    } else if (known && is_error_digest(digest)) {
        errors_.add(event, position_);
    }
}

void log_health::note_rules(const logged_event& event) {
    const profile_rule* const rule = profile_rule_of(event.type);
    if (rule == nullptr) {
        return;
    }
    if ((rule->pcrs & mask_of(event)) == 0) {
        misplaced_.add(event, position_);
    } else if ((separated_ & mask_of(event)) != 0 && (rule->behind_separator & mask_of(event)) == 0) {
        late_.add(event, position_);
    }
}

// Beside a separator the digest of one may be a chance: some firmware hashes four zero bytes for what it does not
// have.
void log_health::add_retyped(std::vector<remark>& out) const {
    sighting retyped;
    sighting beside;
    for (const sighting& seen : retyped_separators_) {
        ((seen.pcrs & separated_) == 0 ? retyped : beside).add(seen);
    }
    if (retyped.count > 0) {
        add(out, "retyped-separator", remark_severity::damage, retyped,
            capital(events_text(retyped)) + " in " + pcrs_text(retyped.pcrs) +
                " measured a separator, but the log calls it " + event_type_name(retyped.type) +
                ": no digest proves an event's type, and somebody changed it.");
    }
    if (beside.count > 0) {
        add(out, "separator-digest", remark_severity::caution, beside,
            capital(events_text(beside)) + " in " + pcrs_text(beside.pcrs) +
                " measured what a separator does, but the log calls it " + event_type_name(beside.type) + ".");
    }
}

void log_health::add_separators(std::vector<remark>& out) const {
    std::uint32_t missing = firmware_pcrs & ~separated_;
    for (const sighting& seen : retyped_separators_) {
        missing &= ~seen.pcrs;
    }
    if (missing != 0 && has_pcrs_) {
        add(out, "missing-separator", remark_severity::caution, missing,
            pcrs_text(missing) + (is_one_pcr(missing) ? " has" : " have") +
                " no separator, with which the firmware closes what it measures: the log was cut, or the "
                "firmware left the PCR open to what came after it.");
    }
    if (repeated_separators_.count > 0) {
        add(out, "repeated-separator", remark_severity::caution, repeated_separators_,
            pcrs_text(repeated_separators_.pcrs) + " had a separator already when " +
                events_text(repeated_separators_) + " came.");
    }
    if (errors_.count > 0) {
        add(out, "firmware-error", remark_severity::caution, errors_,
            "The separator in " + events_text(errors_) + " has the value for an error: in " +
                pcrs_text(errors_.pcrs) + " the firmware failed to measure something before.");
    }
    if (false_separators_.count > 0) {
        add(out, "false-separator", remark_severity::damage, false_separators_,
            capital(events_text(false_separators_)) + " in " + pcrs_text(false_separators_.pcrs) +
                " is called a separator, but something else was measured.");
    }
}

void log_health::add_events(std::vector<remark>& out) const {
    if (beyond_.count > 0) {
        add(out, "ignored-events", remark_severity::caution, beyond_,
            std::to_string(beyond_.count) + " of its events are for PCRs that do not exist.");
    }
    if (contradicted_.count > 0) {
        add(out, "contradicted-digest", remark_severity::caution, contradicted_,
            "The digest of " + events_text(contradicted_) + " (" + pcrs_text(contradicted_.pcrs) +
                ") is not the hash of what the log shows: one of the two was changed, or the firmware hashed "
                "something else.");
    }
    if (late_.count > 0) {
        add(out, "late-event", remark_severity::caution, late_,
            capital(events_text(late_)) + " in " + pcrs_text(late_.pcrs) +
                " came behind the separator, where the profile has no place for " + event_type_name(late_.type) +
                ": the firmware went on measuring after it had closed the PCR.");
    }
    if (misplaced_.count > 0) {
        add(out, "misplaced-type", remark_severity::caution, misplaced_,
            capital(events_text(misplaced_)) + " in " + pcrs_text(misplaced_.pcrs) +
                " is of a type that the profile has no place for there (" + event_type_name(misplaced_.type) + ").");
    }
    if (const std::uint32_t unused = others_extended_ & ~sha256_extended_; has_sha256_ && unused != 0) {
        add(out, "unextended-sha256", remark_severity::damage, unused,
            "The firmware never extended the SHA-256 bank of " + pcrs_text(unused) +
                ", only another one: its digests are zeros, and anybody can give these PCRs any value.");
    }
}

std::vector<remark> log_health::finish(byte_view log, const event_log_reader& end) const {
    std::vector<remark> out;
    add_end(log, end, out);
    if (position_ == 0) {
        add(out, "no-events", remark_severity::caution, 0, "It holds no event but the Spec ID event.");
    }
    if (is_legacy_) {
        add(out, "legacy", remark_severity::damage, 0,
            "It is in the legacy SHA-1 layout: its digests predict no SHA-256 PCR.");
    } else if (!has_sha256_) {
        add(out, "no-sha256-bank", remark_severity::caution, 0, "It has no SHA-256 bank, which a validation needs.");
    }
    if (!has_pcrs_) {
        add(out, "confidential-registers", remark_severity::note, 0,
            "Its registers are those of a confidential virtual machine, not the PCRs of a TPM.");
    }
    if (position_ > 0) {
        add_separators(out);
    }
    add_retyped(out);
    add_events(out);
    comparison_.add_remarks(out);
    std::stable_sort(out.begin(), out.end(),
                     [](const remark& a, const remark& b) { return a.severity < b.severity; });
    return out;
}

std::vector<remark> health_of(byte_view log, std::vector<given_pcr> given) {
    event_log_reader reader;
    const bool opened = ok(reader.open(log, log_banks::any));
    clear_messages();
    if (!opened) {
        return {};
    }
    log_health health(reader, std::move(given));
    claim_checker claims;
    for (logged_event event; reader.read(event); reader.advance()) {
        health.take(event, claims.check(event, decode_event(event)).proof);
    }
    return health.finish(log, reader);
}

}  // namespace vellum
