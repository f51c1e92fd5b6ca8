#include "seal/seal_sequence.h"

#include <algorithm>
#include <array>
#include <optional>

#include "core/findings.h"
#include "core/log.h"
#include "seal/seal_date.h"
#include "seal/seal_events.h"

namespace vellum {
namespace {

constexpr std::int64_t max_unlocked_time = 3600;  // seconds

constexpr std::size_t tracked_ids = 8;  // 0 to 7

// What the rules know of the records up to the current one.
struct sequence_tracker {
    std::int64_t now = 0;    // seconds since 1970-01-01 UTC
    std::size_t record = 0;  // 1-based; of the record that is judged
    const seal_record* current = nullptr;
    const seal_record* previous = nullptr;
    const seal_record* last_counting = nullptr;  // the last record before the current one that carries counters
    std::array<const seal_record*, tracked_ids> last{};
    std::array<std::uint32_t, tracked_ids> count{};
};

// An event without a tracked ID is passed over: it becomes no record's predecessor.
void advance(sequence_tracker& tracker, const seal_record& record) {
    tracker.previous = tracker.current;
    if (tracker.current != nullptr && counters_of(*tracker.current)) {
        tracker.last_counting = tracker.current;
    }
    tracker.current = &record;
    tracker.last[record.id] = &record;
    ++tracker.count[record.id];
}

const char* name_of(const seal_record* record) {
    return seal_event_name(record->id);
}

void about_record(finding_lines raised, const sequence_tracker& tracker) {
    raised.field("record", tracker.record)
        .field("record_name", name_of(tracker.current))
        .field("time", tracker.current->timestamp);
}

// Rules. Each says whether it found something, which it has reported.

bool warn_about_timestamp(const sequence_tracker& tracker) {
    const seal_record* current = tracker.current;
    const seal_record* previous = tracker.previous;
    const std::string time = seal_time_text(*current);
    if (lies_in_future(current->timestamp, tracker.now)) {
        about_record(report("seal-record-in-future"_id, "WARNING: Event \"%s\" timestamp (%s) is a date from future.",
                            name_of(current), time.c_str())
                         .field("now", tracker.now),
                     tracker);
        return true;
    }
    if (previous != nullptr && current->timestamp < previous->timestamp) {
        // The arguments stand in the order in which this line has always been printed, odd as it reads.
        about_record(
            report(
                "seal-record-time-reversed"_id,
                "WARNING: Event \"%s\" occurred after event \"%s\" but its timestamp (%s) is earlier than date from the previous event timestamp (%s).",
                name_of(current), time.c_str(), name_of(previous), time.c_str())
                .field("expected", previous->timestamp)
                .field("actual", current->timestamp),
            tracker);
        return true;
    }
    return false;
}

bool warn_about_own_counters(const sequence_tracker& tracker) {
    const std::optional<seal_counters> counters = counters_of(*tracker.current);
    if (!counters || counters->boot == counters->execution) {
        return false;
    }
    about_record(
        report("seal-record-counters-differ"_id,
               "WARNING: Seal Log event \"%s\" Boot Counter (%hhu) does not match KVR Execution Counter (%hhu).",
               name_of(tracker.current), counters->boot, counters->execution)
            .field("expected", counters->execution)
            .field("actual", counters->boot)
            .field("expected_source", "KVR Execution Counter")
            .field("actual_source", "Boot Counter"),
        tracker);
    return true;
}

bool warn_about_boot_counter_value(const sequence_tracker& tracker) {
    const std::uint32_t id = tracker.current->id;
    const seal_counters counters = counters_of(*tracker.current).value_or(seal_counters());
    if (id == SEAL_DISK_LOCK_NOT_PRESENT && counters.boot < 2) {
        about_record(
            report("seal-record-boot-counter-too-low"_id,
                   "WARNING: Event \"%s\" has incorrect boot counter value. Expected larger or equal 2 but was %hhu.",
                   name_of(tracker.current), counters.boot)
                .field("actual", counters.boot)
                .field("expected", 2),
            tracker);
        return true;
    }
    if ((id == SEAL_DISK_LOCK_REMOVAL || id == SEAL_DISK_LOCK_PASSWORD_RETRIEVED) && counters.boot != 1) {
        about_record(report("seal-record-boot-counter-not-one"_id,
                            "WARNING: Event \"%s\" has incorrect boot counter value. Expected 1 but was %hhu.",
                            name_of(tracker.current), counters.boot)
                         .field("actual", counters.boot)
                         .field("expected", 1),
                     tracker);
        return true;
    }
    return false;
}

// The counters are 8 bits wide and do not start over.
bool continues(std::uint8_t current, std::uint8_t earlier) {
    return current == earlier || int{current} == int{earlier} + 1;
}

bool warn_about_continuity(const sequence_tracker& tracker) {
    const std::optional<seal_counters> current = counters_of(*tracker.current);
    if (!current || tracker.last_counting == nullptr) {
        return false;
    }
    const seal_counters earlier = counters_of(*tracker.last_counting).value_or(seal_counters());
    const bool boot_jumps = !continues(current->boot, earlier.boot);
    const bool execution_jumps = !continues(current->execution, earlier.execution);
    if (boot_jumps) {
        about_record(
            report(
                "seal-record-boot-counter-jumps"_id,
                "WARNING: Seal Log event \"%s\" Boot Counter (%hhu) is not equal or greater by one than Seal Log event \"%s\" Boot Counter (%hhu).",
                name_of(tracker.current), current->boot, name_of(tracker.last_counting), earlier.boot)
                .field("actual", current->boot)
                .field("expected", earlier.boot),
            tracker);
    }
    if (execution_jumps) {
        about_record(
            report(
                "seal-record-execution-counter-jumps"_id,
                "WARNING: Seal Log event \"%s\" KVR Execution Counter (%hhu) is not equal or greater by one than Seal Log event \"%s\" KVR Execution Counter (%hhu).",
                name_of(tracker.current), current->execution, name_of(tracker.last_counting), earlier.execution)
                .field("actual", current->execution)
                .field("expected", earlier.execution),
            tracker);
    }
    return boot_jumps || execution_jumps;
}

bool is_repeated(const sequence_tracker& tracker) {
    const std::uint32_t id = tracker.current->id;
    const bool once_only = id == SEAL_DISK_LOCK_REMOVAL || id == SEAL_DISK_LOCK_PASSWORD_RETRIEVED;
    if (!once_only || tracker.count[id] < 2) {
        return false;
    }
    about_record(
        report("seal-record-repeated"_id, "    Event \"%s\" occurred more than once.", name_of(tracker.current)),
        tracker);
    return true;
}

// What may stand directly before an event: bit n is the event with ID n, bit 8 the start of the log.
using predecessor_set = std::uint32_t;

constexpr predecessor_set before(std::uint32_t id) {
    return 1U << id;
}

constexpr predecessor_set start_of_log = 1U << tracked_ids;
constexpr predecessor_set everything = (start_of_log << 1) - 1;
constexpr predecessor_set disk_lock_events =
    before(SEAL_DISK_LOCK_REMOVAL) | before(SEAL_DISK_LOCK_NOT_PRESENT) | before(SEAL_DISK_LOCK_PASSWORD_RETRIEVED);

struct order_rule {
    std::uint32_t id;
    predecessor_set allowed;
};

constexpr order_rule order_rules[] = {
    {SEAL_DISK_LOCK_REMOVAL, before(SEAL_DISK_LOCK_PASSWORD_RETRIEVED)},
    {SEAL_DISK_LOCK_NOT_PRESENT, before(SEAL_DISK_LOCK_REMOVAL) | before(SEAL_DISK_LOCK_NOT_PRESENT)},
};
constexpr predecessor_set otherwise_allowed = everything & ~disk_lock_events;

predecessor_set allowed_before(std::uint32_t id) {
    for (const order_rule& rule : order_rules) {
        if (rule.id == id) {
            return rule.allowed;
        }
    }
    return otherwise_allowed;
}

bool is_misplaced(const sequence_tracker& tracker) {
    const char* current = name_of(tracker.current);
    const predecessor_set allowed = allowed_before(tracker.current->id);
    if (tracker.previous == nullptr) {
        log_at(log_level::debug, "No Event occurred before \"%s\".", current);
        if ((allowed & start_of_log) != 0) {
            return false;
        }
        about_record(
            report("seal-record-without-predecessor"_id,
                   "    Wrong sequence of events in the seal log. No Event occurred before \"%s\".", current),
            tracker);
        return true;
    }
    const char* previous = name_of(tracker.previous);
    log_at(log_level::debug, "Event %s occurred after event \"%s\".", current, previous);
    if ((allowed & before(tracker.previous->id)) != 0) {
        return false;
    }
    about_record(report("seal-record-misplaced"_id,
                        "    Wrong sequence of events in the seal log. Event \"%s\" occurred after event \"%s\".",
                        current, previous)
                     .field("value", previous),
                 tracker);
    return true;
}

using sequence_rule = bool (*)(const sequence_tracker&);

constexpr sequence_rule warning_rules[] = {
    warn_about_timestamp,
    warn_about_own_counters,
    warn_about_boot_counter_value,
    warn_about_continuity,
};
constexpr sequence_rule error_rules[] = {
    is_repeated,
    is_misplaced,
};

sequence_verdict judge_record(sequence_tracker& tracker, const seal_record& record) {
    if (record.id >= tracked_ids) {
        report("seal-record-unknown"_id,
               "WARNING: Found event in Seal Log with not supported Event ID: %d. Skipping this event validation.",
               static_cast<int>(record.id))
            .field("record", tracker.record)
            .field("value", record.id)
            .field("time", record.timestamp);
        return sequence_verdict::valid_with_warnings;
    }
    advance(tracker, record);
    sequence_verdict verdict = sequence_verdict::valid;
    for (const sequence_rule warns : warning_rules) {
        if (warns(tracker)) {
            verdict = sequence_verdict::valid_with_warnings;
        }
    }
    for (const sequence_rule breaks : error_rules) {
        if (breaks(tracker)) {
            return sequence_verdict::invalid;
        }
    }
    return verdict;
}

sequence_verdict judge_records(sequence_tracker& tracker, const seal_log& log) {
    sequence_verdict verdict = sequence_verdict::valid;
    for (const seal_record& record : log.records) {
        ++tracker.record;
        verdict = std::max(verdict, judge_record(tracker, record));
        if (verdict == sequence_verdict::invalid) {
            return verdict;
        }
    }
    if (const seal_record* not_present = tracker.last[SEAL_DISK_LOCK_NOT_PRESENT]; not_present != nullptr) {
        report(
            "seal-disk-lock-not-present"_id,
            "WARNING: Event \"%s\" is present in the Seal Log. It may indicate that the platform was booted multiple times or the KVR BIOS Extension failed to unlock the disk.",
            name_of(not_present))
            .field("record_name", name_of(not_present))
            .field("time", not_present->timestamp);
        verdict = sequence_verdict::valid_with_warnings;
    }
    return verdict;
}

// Demands the record that stands for one step of unlocking the disk.
bool require_unlock_event(const seal_record* record, std::uint32_t id) {
    if (record == nullptr) {
        report("seal-unlock-record-missing"_id,
               "Event \"%s\" is not present in the Seal Log, but SED lock is enabled.", seal_event_name(id))
            .field("record_name", seal_event_name(id));
    }
    return record != nullptr;
}

bool unlocked_long_ago(const seal_record& removal, std::int64_t now) {
    if (now <= std::int64_t{removal.timestamp} + max_unlocked_time) {
        return false;
    }
    report("seal-unlocked-long-ago"_id, "The time elapsed since the disk was unlocked (%s) is more than one hour.",
           seal_time_text(removal).c_str())
        .field("time", removal.timestamp)
        .field("now", now)
        .field("limit", max_unlocked_time);
    return true;
}

}  // namespace

sequence_findings validate_seal_log_sequence(const seal_log& log, std::int64_t now) {
    sequence_tracker tracker;
    tracker.now = now;
    sequence_findings findings;
    findings.verdict = judge_records(tracker, log);
    findings.password_retrieved = tracker.last[SEAL_DISK_LOCK_PASSWORD_RETRIEVED];
    findings.lock_removal = tracker.last[SEAL_DISK_LOCK_REMOVAL];
    findings.lock_not_present = tracker.last[SEAL_DISK_LOCK_NOT_PRESENT];
    return findings;
}

stage_outcome verify_seal_log(const seal_log& log, bool sed_lock_enabled, std::int64_t now) {
    print_seal_log(log);
    const sequence_findings findings = validate_seal_log_sequence(log, now);
    if (findings.verdict == sequence_verdict::invalid) {
        report("seal-log-invalid"_id, "ERROR: Seal log events validation failed");
        return failed();
    }
    bool warned = findings.verdict == sequence_verdict::valid_with_warnings;
    if (sed_lock_enabled) {
        const bool retrieved = require_unlock_event(findings.password_retrieved, SEAL_DISK_LOCK_PASSWORD_RETRIEVED);
        const bool removed = require_unlock_event(findings.lock_removal, SEAL_DISK_LOCK_REMOVAL);
        if (!retrieved || !removed) {
            return failed();
        }
        warned = unlocked_long_ago(*findings.lock_removal, now) || warned;
    }
    return pass_or_warn(warned);
}

}  // namespace vellum
