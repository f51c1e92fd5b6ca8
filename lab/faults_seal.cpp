// What can be wrong with the seal: its signature, the file that states its identity, its log, its Device ID.
#include <algorithm>
#include <string>

#include "lab/faults.h"
#include "seal/seal_log.h"

namespace vellum::lab {
namespace {

// Of the Seal Configured record's data: the seal instance, then the seal data.
constexpr std::size_t instance_at = 0;
constexpr std::size_t marker_at = 4;
constexpr std::size_t version_minor_at = 4 + 9;

// The record of an event; null when another fault has taken it away.
seal_event* find_record(device& made, std::uint32_t id) {
    const auto found = std::find_if(made.seal_log.begin(), made.seal_log.end(),
                                    [id](const seal_event& record) { return record.id == id; });
    return found == made.seal_log.end() ? nullptr : &*found;
}

void change_seal_record(device& made, std::size_t at, std::uint8_t value) {
    if (seal_event* record = find_record(made, SEAL_CONFIGURED)) {
        record->data[at] = value;
        measure_seal_log(made);
    }
}

void append_record(device& made, seal_event record) {
    made.seal_log.push_back(std::move(record));
    measure_seal_log(made);
}

void erase_records(device& made, std::uint32_t id) {
    std::erase_if(made.seal_log, [id](const seal_event& record) { return record.id == id; });
    measure_seal_log(made);
}

void move_record(device& made, std::uint32_t id, std::int64_t seconds) {
    if (seal_event* record = find_record(made, id)) {
        record->timestamp = static_cast<std::uint32_t>(record->timestamp + seconds);
        measure_seal_log(made);
    }
}

void swap_disk_records(device& made) {
    seal_event* retrieved = find_record(made, SEAL_DISK_LOCK_PASSWORD_RETRIEVED);
    seal_event* removed = find_record(made, SEAL_DISK_LOCK_REMOVAL);
    if (retrieved != nullptr && removed != nullptr) {
        std::swap(*retrieved, *removed);
        measure_seal_log(made);
    }
}

std::uint32_t minute_ago(const device& made) {
    return static_cast<std::uint32_t>(made.now - 60);
}

void seal_with_level_3(device_plan& plan) {
    plan.level = trusted_level::tl3;
}

void seal_without_signature(device_plan& plan) {
    plan.seal_signing = false;
}

// Each column of the file's row, from the left.
enum column { date, id_type, id, instance, algorithm, digest };

void change_identity_file(device& made, column which, const std::string& value) {
    std::string& text = made.tl3_file;
    std::size_t begin = text.rfind('\n', text.size() - 2) + 1;
    for (int i = 0; i < which; ++i) {
        begin = text.find(',', begin) + 1;
    }
    const std::size_t end = std::min(text.find(',', begin), text.find('\n', begin));
    text.replace(begin, end - begin, value);
}

constexpr fault faults[] = {
    {"no-seal-record", "the seal log lacks the record of the sealing", nullptr,
     [](device& made) { erase_records(made, SEAL_CONFIGURED); }},
    {"seal-instance-1", "the seal's record carries the instance of an unsigned seal", nullptr,
     [](device& made) { change_seal_record(made, instance_at, 1); }},
    {"seal-instance", "the seal's record and its signature carry different instances", nullptr,
     [](device& made) { made.signature.instance_id = 3; }},
    {"unsigned-instance", "an unsigned seal carries the instance of a signed one", seal_without_signature,
     [](device& made) { change_seal_record(made, instance_at, 2); }},
    {"seal-marker", "the seal data begin with another marker", nullptr,
     [](device& made) { change_seal_record(made, marker_at, 'X'); }},
    {"seal-data-version", "the seal data are of version 1.2", nullptr,
     [](device& made) { change_seal_record(made, version_minor_at, 2); }},
    {"seal-signature-version", "the seal signature is of version 1.1", nullptr,
     [](device& made) { made.signature.version_minor = 1; }},
    {"seal-signature-reserved", "a reserved byte of the seal signature is set (a remark)", nullptr,
     [](device& made) { made.signature.key_reserved.back() = 1; }},
    {"seal-algorithm", "the seal was signed with an unknown algorithm", nullptr,
     [](device& made) { made.signature.algorithm = 2; }},
    {"seal-key-id", "the seal signature has the key identifier of a seal without a key", nullptr,
     [](device& made) { made.signature.odm_key_id = 0xFFFF; }},
    {"seal-key", "the key beside the seal signature is not a key", nullptr,
     [](device& made) { made.signature.public_key.front() ^= 0xFF; }},
    {"seal-signature", "a byte of the seal signature was changed", nullptr,
     [](device& made) { made.signature.value.front() ^= 0x01; }},
    {"clock-before-seal", "the clock stands before the sealing (a warning)", nullptr,
     [](device& made) { made.now -= std::int64_t{100} * 86400; }},

    {"tl3-key-id", "a seal without a key has a key identifier", seal_with_level_3,
     [](device& made) { made.signature.odm_key_id = 7; }},
    {"tl3-key-byte", "a byte of the key of a seal without a key is set", seal_with_level_3,
     [](device& made) {
         made.signature.public_key_length = 0;
         made.signature.public_key.resize(301);
         made.signature.public_key.back() = 1;
     }},
    {"tl3-digest", "a byte of the digest of a seal without a key was changed", seal_with_level_3,
     [](device& made) { made.signature.value.front() ^= 0x01; }},
    {"tl3-clock-before-seal", "the clock stands before a sealing without a key (a warning)", seal_with_level_3,
     [](device& made) { made.now -= std::int64_t{100} * 86400; }},
    {"tl3-no-file", "no file states the identity of a seal without a key", seal_with_level_3,
     [](device& made) { made.tl3_file.clear(); }},
    {"tl3-file-syntax", "the file that states the seal's identity lacks a column", seal_with_level_3,
     [](device& made) { made.tl3_file.erase(made.tl3_file.rfind(',')); }},
    {"tl3-file-date", "the file states another date of the sealing", seal_with_level_3,
     [](device& made) { change_identity_file(made, date, "2026-01-15T10:00:01Z"); }},
    {"tl3-file-id-type", "the file states another source of the Device ID", seal_with_level_3,
     [](device& made) { change_identity_file(made, id_type, "SERIAL_NUMBER"); }},
    {"tl3-file-id", "the file states another Device ID", seal_with_level_3,
     [](device& made) { change_identity_file(made, id, "00112233-4455-6677-8899-aabbccddeeff"); }},
    {"tl3-file-instance", "the file states another instance of the seal", seal_with_level_3,
     [](device& made) { change_identity_file(made, instance, "3"); }},
    {"tl3-file-algorithm", "the file states another signing algorithm", seal_with_level_3,
     [](device& made) { change_identity_file(made, algorithm, "SHA256-RSA-2048-PKCS1"); }},
    {"tl3-file-digest", "the file states another digest of the seal", seal_with_level_3,
     [](device& made) { change_identity_file(made, digest, std::string(64, 'A')); }},

    {"seal-log-record", "a record was added to the seal log after the boot had measured it", nullptr,
     [](device& made) { made.seal_log.push_back(disk_lock_not_present(minute_ago(made), 2, 2)); }},
    {"seal-log-order", "the disk's password was retrieved after its lock had been removed", nullptr,
     swap_disk_records},
    {"seal-log-twice", "the disk's password was retrieved twice", nullptr,
     [](device& made) { append_record(made, disk_lock_password_retrieved(minute_ago(made), 0, 1, 1)); }},
    {"no-disk-records", "nothing in the seal log tells of the locked disk", nullptr,
     [](device& made) {
         erase_records(made, SEAL_DISK_LOCK_PASSWORD_RETRIEVED);
         erase_records(made, SEAL_DISK_LOCK_REMOVAL);
     }},
    {"no-lock-removal", "the disk's lock was never removed", nullptr,
     [](device& made) { erase_records(made, SEAL_DISK_LOCK_REMOVAL); }},
    {"disk-unlocked-long-ago", "the disk was unlocked two hours ago (a warning)", nullptr,
     [](device& made) { made.now += 7200; }},
    {"disk-lock-not-present", "the disk was found without its lock at the next boot (a warning)", nullptr,
     [](device& made) { append_record(made, disk_lock_not_present(minute_ago(made), 2, 2)); }},
    {"seal-log-counters", "the counters of a record in the seal log differ (a warning)", nullptr,
     [](device& made) {
         if (seal_event* record = find_record(made, SEAL_DISK_LOCK_REMOVAL)) {
             record->data = {1, 3};
             measure_seal_log(made);
         }
     }},
    {"seal-log-future", "a record of the seal log lies in the future (a warning)", nullptr,
     [](device& made) { move_record(made, SEAL_DISK_LOCK_REMOVAL, 7200); }},
    {"seal-log-time", "a record of the seal log is older than the one before it (a warning)", nullptr,
     [](device& made) { move_record(made, SEAL_ENABLED, -3600); }},
    {"seal-log-unknown", "the seal log holds a record of an unknown kind (a warning)", nullptr,
     [](device& made) {
         append_record(made, {9, minute_ago(made), {}});
     }},

    {"long-device-id", "the sealed Device ID is longer than its room",
     [](device_plan& plan) { plan.seal_changes.push_back([](seal_data& data) { data.device_id_length = 65; }); },
     nullptr},
    {"shorter-device-id", "a part of the Device ID was sealed",
     [](device_plan& plan) { plan.seal_changes.push_back([](seal_data& data) { data.device_id_length = 15; }); },
     nullptr},
    {"unknown-device-id-type", "the source of the sealed Device ID is unknown",
     [](device_plan& plan) { plan.seal_changes.push_back([](seal_data& data) { data.device_id_type = 9; }); },
     nullptr},
};

}  // namespace

std::span<const fault> seal_faults() {
    return faults;
}

}  // namespace vellum::lab
