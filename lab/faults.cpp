#include "lab/faults.h"

#include <algorithm>
#include <string>

#include "lab/certificate_authority.h"
#include "lab/sample_keys.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

constexpr std::uint32_t ev_boot_services_application = 0x80000003;
constexpr std::size_t pmf_flags_offset = 4 + 12;

log_event* find_event(device& made, std::uint32_t pcr, std::uint32_t type) {
    auto& events = made.boot.events;
    const auto found = std::find_if(events.begin(), events.end(),
                                    [&](const log_event& event) { return event.pcr == pcr && event.type == type; });
    return found == events.end() ? nullptr : &*found;
}

// The firmware measures the seal log as it is now.
void measure_seal_log(device& made) {
    if (log_event* event = find_event(made, 5, EV_EFI_VARIABLE_DRIVER_CONFIG)) {
        const std::vector<std::uint8_t> hash = seal_log_hash(build(made.seal_log));
        std::copy(hash.begin(), hash.end(), event->data.end() - static_cast<std::ptrdiff_t>(hash.size()));
    }
}

void move_seal_event_behind_separator(device& made) {
    auto& events = made.boot.events;
    const auto seal = std::find_if(events.begin(), events.end(), [](const log_event& event) {
        return event.pcr == 5 && event.type == EV_EFI_VARIABLE_DRIVER_CONFIG;
    });
    std::rotate(seal, seal + 1, events.end());
}

void insert_forged_separator(device& made) {
    log_event forged = separator(5);
    forged.type = 0x80000007;
    auto& events = made.boot.events;
    const auto seal = std::find_if(events.begin(), events.end(), [](const log_event& event) {
        return event.pcr == 5 && event.type == EV_EFI_VARIABLE_DRIVER_CONFIG;
    });
    events.insert(seal, forged);
}

void start_another_boot_loader(device& made) {
    if (log_event* event = find_event(made, 4, ev_boot_services_application)) {
        *event = text_event(event->pcr, event->type, "\\EFI\\BOOT\\OTHER.EFI");
    }
}

void hide_the_boot_loader(device& made) {
    const event_log honest = made.boot;
    start_another_boot_loader(made);
    made.pcrs = pcr_values_after(made.boot);
    made.boot = honest;
}

void replace_root(device& made) {
    certificate_plan other = authority("Vellum Sample Root CA", 0);
    other.key = sample_key(sample_key_name::seal);
    made.certificates["trusted/root.crt"] = pem(self_signed(other).der);
}

void expire_pmf(pmf& file) {
    file.header.expire_date = 0x20260228;
}

void drop_pcr_3(pmf& file) {
    std::erase_if(file.pcrs.entries, [](const PMF::PcrEntry& entry) { return entry.index == 3; });
}

void list_another_seal_key(pmf& file) {
    file.keys.entries.front().hash.front() ^= 0xFF;
}

void set_reserved_bytes(pmf& file) {
    file.system_info.reserved.back() = 1;
}

void change_pmf(void (*change)(pmf&), device_plan& plan) {
    plan.pmf_changes.push_back(change);
}

// What happened to the firmware and the seal, then to the boot, then to the platform; the factory's mistakes come
// last.
constexpr fault faults[] = {
    {"no-interface", "the interface driver has no device", nullptr,
     [](device& made) { made.firmware_present = false; }},
    {"no-client", "the firmware does not know the feature", nullptr,
     [](device& made) { made.firmware_files["client_absent"] = ""; }},
    {"new-version", "the firmware speaks version 2.0", nullptr, [](device& made) { made.version.major = 2; }},
    {"feature-inactive", "the feature was deactivated", nullptr,
     [](device& made) { made.state.feature_state = feature_state_inactive; }},
    {"seal-broken", "the chassis was opened", nullptr,
     [](device& made) {
         made.state.seal_state = seal_state_broken;
         made.seal_log.push_back(seal_broken(static_cast<std::uint32_t>(made.now - 60), 2, 2, 2));
         // A record after the disk lock's removal is out of order, so the disk events go.
         made.seal_log.erase(made.seal_log.begin() + 2, made.seal_log.begin() + 4);
         measure_seal_log(made);
     }},
    {"bios-lock-off", "the BIOS lock was switched off", nullptr,
     [](device& made) {
         made.state.configuration = static_cast<std::uint16_t>(made.state.configuration & ~0x0002U);
     }},
    {"other-hotkey", "another opt-out hotkey was configured", nullptr,
     [](device& made) { made.state.hotkey.front() = 0x0C; }},
    {"seal-signature", "a byte of the seal signature was changed", nullptr,
     [](device& made) { made.signature.value.front() ^= 0x01; }},
    {"seal-log-record", "a record was added to the seal log after the boot had measured it", nullptr,
     [](device& made) {
         made.seal_log.push_back(disk_lock_not_present(static_cast<std::uint32_t>(made.now - 60), 2, 2));
     }},
    {"seal-log-order", "the disk's password was retrieved after its lock had been removed", nullptr,
     [](device& made) {
         std::swap(made.seal_log[2], made.seal_log[3]);
         measure_seal_log(made);
     }},
    {"disk-unlocked-long-ago", "the disk was unlocked two hours ago (a warning)", nullptr,
     [](device& made) { made.now += 7200; }},
    {"pmf-byte", "a byte of the PMF was changed", nullptr,
     [](device& made) { made.platform_measurements[pmf_flags_offset] ^= 0x01; }},
    {"untrusted-root", "another authority took the name of the trusted one", nullptr, replace_root},
    {"no-trusted-directory", "the directory of trusted certificates is empty", nullptr,
     [](device& made) { made.certificates.erase("trusted/root.crt"); }},

    {"boot-loader", "another boot loader was started", nullptr, start_another_boot_loader},
    {"forged-log", "another boot loader was started, and the event log hides it", nullptr, hide_the_boot_loader},
    {"late-seal-event", "the seal was measured after the separator", nullptr, move_seal_event_behind_separator},
    {"forged-separator", "an event before the seal carries a separator's digest (a warning)", nullptr,
     insert_forged_separator},
    {"no-gpt-event", "the partition table was not measured", nullptr,
     [](device& made) {
         std::erase_if(made.boot.events, [](const log_event& event) { return event.type == EV_EFI_GPT_EVENT; });
     }},
    {"locality", "the TPM was started at locality 0", nullptr,
     [](device& made) { made.boot.events.front() = startup_locality(0); }},

    {"partition-moved", "the last partition was made larger", nullptr,
     [](device& made) { made.disk.entries.back().last_lba += 2048; }},
    {"bom-file", "the file that lists the system's parts was changed", nullptr,
     [](device& made) { made.volume_files.begin()->second += "windows/system32/other.dll 0000\n"; }},
    {"drive-letter", "the system's volume has another drive letter", nullptr,
     [](device& made) { made.volumes.front() = 'D'; }},
    {"bios-version", "the BIOS was updated", nullptr, [](device& made) { made.smbios.bios_version = "VLM 1.0.43"; }},
    {"os-build", "the operating system was updated", nullptr, [](device& made) { made.os_version = "10.0.22631"; }},
    {"other-mainboard", "the mainboard was exchanged", nullptr,
     [](device& made) {
         made.smbios.uuid.front() ^= 0xFF;
         made.smbios.serial_number = "SN-9999";
         made.external_device_id += made.external_device_id.empty() ? "" : "00";
     }},

    {"pmf-expired", "the PMF has expired", [](device_plan& plan) { change_pmf(expire_pmf, plan); }, nullptr},
    {"pmf-without-pcr-3", "the PMF lacks a mandatory PCR (a warning)",
     [](device_plan& plan) { change_pmf(drop_pcr_3, plan); }, nullptr},
    {"pmf-reserved-bytes", "reserved bytes of the PMF are set (a warning)",
     [](device_plan& plan) { change_pmf(set_reserved_bytes, plan); }, nullptr},
    {"unlisted-seal-key", "the key that signed the seal is not in the PMF's key manifest",
     [](device_plan& plan) { change_pmf(list_another_seal_key, plan); }, nullptr},
};

}  // namespace

std::span<const fault> all_faults() {
    return faults;
}

const fault* find_fault(std::string_view name) {
    const auto* found =
        std::find_if(std::begin(faults), std::end(faults), [&](const fault& row) { return row.name == name; });
    return found == std::end(faults) ? nullptr : found;
}

}  // namespace vellum::lab
