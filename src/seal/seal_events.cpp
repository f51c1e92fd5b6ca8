#include "seal/seal_events.h"

#include <algorithm>

#include "base/format.h"
#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/times.h"

namespace vellum {
namespace {

// Offsets into the event data, bytes.
namespace configured {
constexpr std::size_t instance_id = 0;  // 32-bit
}
namespace broken {
constexpr std::size_t reason = 0;  // 32-bit
constexpr std::size_t boot_counter = 4;
constexpr std::size_t execution_counter = 5;
}  // namespace broken
namespace disabled {
constexpr std::size_t post_boot = 0;
constexpr std::size_t status = 1;
constexpr std::size_t log_data = 4;
constexpr std::size_t log_data_size = 152;
}  // namespace disabled
namespace disk_lock {
constexpr std::size_t boot_counter = 0;
constexpr std::size_t execution_counter = 1;
}  // namespace disk_lock
namespace password_retrieved {
constexpr std::size_t boot_counter = 0;
constexpr std::size_t boot_stage = 1;  // 1: post-boot
constexpr std::size_t execution_counter = 2;
}  // namespace password_retrieved

std::uint32_t u32_at(const seal_record& record, std::size_t offset) {
    byte_reader reader(byte_view(record.data).subspan(offset));
    std::uint32_t value = 0;
    return reader.u32_le(value) ? value : 0;
}

using description_writer = std::string (*)(const seal_record&);

std::string describe_configured(const seal_record& record) {
    return formatted("(Seal Instance ID: %u)", seal_instance_id(record));
}

std::string describe_nothing(const seal_record&) {
    return "";
}

std::string describe_broken(const seal_record& record) {
    const seal_counters counters = counters_of(record).value_or(seal_counters());
    const std::uint32_t reason = seal_broken_reason(record);
    return formatted("(Boot Counter: %d, KVR Execution Counter: %d, Reason #%d: '%s')", counters.boot,
                     counters.execution, static_cast<int>(reason), seal_broken_reason_text(reason));
}

std::string describe_disabled(const seal_record& record) {
    return formatted("(Status: %s, %s)", seal_disabled_status_text(record.data[disabled::status]),
                     record.data[disabled::post_boot] != 0 ? "Disabled in Post Boot" : "Disabled in Pre Boot");
}

std::string describe_disk_lock(const seal_record& record) {
    const seal_counters counters = counters_of(record).value_or(seal_counters());
    return formatted("(Boot Counter: %d, KVR Execution Counter: %d)", counters.boot, counters.execution);
}

std::string describe_password_retrieved(const seal_record& record) {
    const seal_counters counters = counters_of(record).value_or(seal_counters());
    return formatted("(%s, Boot Counter: %d, KVR Execution Counter: %d)",
                     record.data[password_retrieved::boot_stage] == 1 ? "Post-boot" : "Pre-boot", counters.boot,
                     counters.execution);
}

std::string describe_unknown(const seal_record&) {
    return "UNKNOWN_EVENT";
}

struct counter_offsets {
    std::size_t boot;
    std::size_t execution;
};

struct event_kind {
    std::uint32_t id;
    const char* name;
    description_writer describe;
    std::optional<counter_offsets> counters;
};

constexpr counter_offsets disk_lock_counters = {disk_lock::boot_counter, disk_lock::execution_counter};

constexpr event_kind event_kinds[] = {
    {SEAL_CONFIGURED, "Seal Configured", describe_configured, {}},
    {SEAL_ENABLED, "Seal Enabled", describe_nothing, {}},
    {SEAL_BROKEN, "Seal Broken", describe_broken, counter_offsets{broken::boot_counter, broken::execution_counter}},
    {SEAL_DISABLED, "Seal Disabled", describe_disabled, {}},
    {SEAL_DISK_LOCK_REMOVAL, "Disk Lock Removal", describe_disk_lock, disk_lock_counters},
    {SEAL_DISK_LOCK_NOT_PRESENT, "Disk Lock Not Present", describe_disk_lock, disk_lock_counters},
    {SEAL_DISK_LOCK_PASSWORD_RETRIEVED, "Disk Lock Password Retrieved", describe_password_retrieved,
     counter_offsets{password_retrieved::boot_counter, password_retrieved::execution_counter}},
};

constexpr event_kind unknown_event = {0, "Unknown Event", describe_unknown, {}};

const event_kind& kind_of(std::uint32_t id) {
    for (const event_kind& kind : event_kinds) {
        if (kind.id == id) {
            return kind;
        }
    }
    return unknown_event;
}

struct code_text {
    std::uint32_t code;
    const char* text;
};

constexpr code_text broken_reasons[] = {
    {1, "KVR boot aborted the by user (opt-out). BIOS lock lifted"},
    {2, "Chassis Intrusion detected"},
    {3, "The BIOS feature configuration does not match the configuration requested in the KVR Seal"},
    {4, "Pre-boot disk measurement failure - parameters mismatch"},
    {5, "Real Time Clock has been reset"},
    {6, "Detected a replay attack on the Orbis protected storage"},
    {7,
     "Detected a corrupt BIOS boot sequence - either the BIOS does not support KVR or the BIOS<>Orbis interaction flow was deemed invalid"},
    {8,
     "The Host Boot Counter does not match the KVR Execution Counter - an unaccounted-for (non-KVR) Orbis boot has been detected"},
    {seal_broken_disk_unlocked,
     "The disk was found already unlocked on the first KVR boot, or the unlocking has failed"},
    {10, "Detected corrupt Orbis protected storage"},
    {11,
     "The disk password has been retrieved at an unexpected stage of the boot flow, or detected an attempt to circumvent its protection"},
    {12, "The Seal Log is full"},
};

constexpr code_text disabled_statuses[] = {
    {0, "Attestation Succeeded"},
    {1, "Attestation Failed"},
    {2, "KVR Aborted"},
};

const char* text_of(std::span<const code_text> table, std::uint32_t code, const char* unknown) {
    const auto row = std::find_if(table.begin(), table.end(), [code](const code_text& r) { return r.code == code; });
    return row == table.end() ? unknown : row->text;
}

void print_event_data(const seal_record& record) {
    if (!log_enabled(log_level::trace)) {
        return;
    }
    constexpr int log_data_indent = 4;
    dump_titled(log_level::trace, "Event data", record.data);
    if (record.id == SEAL_DISABLED) {
        const byte_view log_data = byte_view(record.data).subspan(disabled::log_data, disabled::log_data_size);
        log_at(log_level::trace, "%*sLogData: %s", log_data_indent, "", upper_hex(log_data).c_str());
    }
}

}  // namespace

const char* seal_event_name(std::uint32_t id) {
    return kind_of(id).name;
}

const char* seal_broken_reason_text(std::uint32_t reason) {
    return text_of(broken_reasons, reason, "Unknown reason");
}

const char* seal_disabled_status_text(std::uint8_t status) {
    return text_of(disabled_statuses, status, "Unknown status");
}

std::optional<seal_counters> counters_of(const seal_record& record) {
    const std::optional<counter_offsets>& offsets = kind_of(record.id).counters;
    if (!offsets) {
        return std::nullopt;
    }
    return seal_counters{record.data[offsets->boot], record.data[offsets->execution]};
}

std::uint32_t seal_instance_id(const seal_record& configured) {
    return u32_at(configured, configured::instance_id);
}

std::uint32_t seal_broken_reason(const seal_record& broken) {
    return u32_at(broken, broken::reason);
}

std::string seal_time_text(const seal_record& record) {
    return utc_time_string(record.timestamp).value_or("");
}

std::string describe_seal_event(const seal_record& record) {
    return kind_of(record.id).describe(record);
}

void print_seal_log(const seal_log& log) {
    const int count = static_cast<int>(log.records.size());
    if (count == 0) {
        log_at(log_level::debug, "Seal log contains no events");
    } else if (count == 1) {
        log_at(log_level::debug, "Seal log contains %d event:", count);
    } else {
        log_at(log_level::debug, "Seal log contains %d events:", count);
    }
    for (const seal_record& record : log.records) {
        log_at(log_level::debug, " - %s - %s %s", seal_time_text(record).c_str(), seal_event_name(record.id),
               describe_seal_event(record).c_str());
        print_event_data(record);
    }
}

void print_seal_broken_reasons(const seal_log& log) {
    if (find_seal_event(log, SEAL_BROKEN) == nullptr) {
        report(
            "seal-broken-record-missing"_id,
            "An unexpected error occurred during parsing seal log. Seal Broken events have not been found in the seal log events.");
        return;
    }
    for (const seal_record& record : log.records) {
        if (record.id == SEAL_BROKEN) {
            const std::uint32_t reason = seal_broken_reason(record);
            report("seal-broken"_id, "%s.", seal_broken_reason_text(reason))
                .field("value", reason)
                .field("record", &record - log.records.data() + 1)
                .field("record_name", seal_event_name(record.id))
                .field("time", record.timestamp);
        }
    }
}

}  // namespace vellum
