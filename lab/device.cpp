#include "lab/device.h"

#include <algorithm>

#include "lab/digest_of.h"
#include "lab/sample_boot.h"
#include "lab/sealing.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

constexpr std::uint32_t boot_time = 1'772'443'800;  // 2026-03-02 09:30:00 UTC
constexpr std::int64_t seconds_since_boot = 1800;

constexpr const char* bom_location = "C:\\bom\\system.bom";
constexpr const char* bom_file = "C/bom/system.bom";
constexpr const char* bom_text = "windows/system32/ntoskrnl.exe 7d0c\nwindows/system32/hal.dll 51ab\n";

// C12A7328-F81F-11D2-BA4B-00A0C93EC93B, the EFI system partition.
constexpr guid efi_system_guid = {0x28, 0x73, 0x2A, 0xC1, 0x1F, 0xF8, 0xD2, 0x11,
                                  0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B};

device_id id_of(byte_view bytes) {
    device_id id;
    std::copy(bytes.begin(), bytes.end(), id.data.begin());
    id.size = bytes.size();
    return id;
}

device_id identity_of(const smbios_platform& platform, DeviceIdSource source) {
    constexpr std::uint8_t blob[] = {0x0A, 0x0B, 0xC0, 0xDE};
    switch (source) {
        case DeviceIdSource::SERIAL_NUMBER: return id_of(as_bytes(platform.serial_number));
        case DeviceIdSource::OEM_DEFINED_LITERAL: return id_of(as_bytes("LINE-4_unit.0042"));
        case DeviceIdSource::OEM_DEFINED_BLOB: return id_of(blob);
        default: return id_of(platform.uuid);
    }
}

void make_platform(device& out) {
    out.now = boot_time + seconds_since_boot;
    gpt_entry system;
    system.type_guid = efi_system_guid;
    system.first_lba = 2048;
    system.last_lba = 206847;
    system.name = u"EFI system partition";
    gpt_entry windows;
    windows.first_lba = 206848;
    windows.last_lba = 1026047;
    out.disk.entries = {system, windows};
    out.volume_files[bom_file] = bom_text;
}

void boot_before_seal(const device_plan& plan, device& out) {
    out.boot = clean_boot();
    if (!plan.ironwall) {
        out.boot.events.front() = startup_locality(0);
    }
}

std::vector<PMF::PartitionEntry> partitions_of(const device& made) {
    const sha256_value bom_hash = digest_of(as_bytes(bom_text));
    std::vector<PMF::PartitionEntry> entries = {
        partition_entry("EFI system partition", 2048, 206847, "", {}),
        partition_entry("Basic data partition", 206848, 1026047, bom_location, bom_hash)};
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].guid = made.disk.entries[i].type_guid;
    }
    return entries;
}

machine_facts facts_of(const device_plan& plan, const device& made) {
    return {.product_name = made.smbios.product_name,
            .sku_number = made.smbios.sku_number,
            .bios_version = made.smbios.bios_version,
            .orbis_version = made.smbios.orbis_version,
            .os_build = {10, 0, 19045},
            .partitions = partitions_of(made),
            .pcrs = pcr_values_after(made.boot),
            .id = identity_of(made.smbios, plan.id_source)};
}

// The firmware unlocks the disk, and measures the seal and the partition table before it hands over to the boot
// loader.
void boot_after_seal(const device_plan& plan, device& out) {
    out.seal_log.push_back(disk_lock_password_retrieved(boot_time, 0, 1, 1));
    out.seal_log.push_back(disk_lock_removal(boot_time + 5, 1, 1));
    gpt_measurement partitions;
    partitions.table = out.disk;
    auto& events = out.boot.events;
    const auto separator =
        std::find_if(events.begin(), events.end(), [](const log_event& event) { return event.type == EV_SEPARATOR; });
    events.insert(separator, {measured_seal(plan, out), build(partitions)});
}

}  // namespace

result make_device(const device_plan& plan, device& out) {
    make_platform(out);
    boot_before_seal(plan, out);
    RETURN_IF_FAILED(seal_machine(plan, facts_of(plan, out), out));
    boot_after_seal(plan, out);
    return result::success;
}

}  // namespace vellum::lab
