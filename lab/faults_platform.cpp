// What can be wrong with the disk, the platform's facts, and the administrator's certificates.
#include "lab/certificate_authority.h"
#include "lab/faults.h"
#include "lab/sample_certificates.h"
#include "lab/sample_keys.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

// The firmware measures the partition table as it is now.
void measure_partitions(device& made) {
    gpt_measurement partitions;
    partitions.table = made.disk;
    if (log_event* event = find_event(made, 5, EV_EFI_GPT_EVENT)) {
        *event = build(partitions);
    }
}

void exchange_mainboard(device& made) {
    made.smbios.uuid.front() ^= 0xFF;
    made.smbios.serial_number = "SN-9999";
    made.external_device_id += made.external_device_id.empty() ? "" : "00";
}

void replace_root(device& made) {
    certificate_plan other;
    other.name = sample_root().name;
    other.key = sample_key(sample_key_name::seal);
    other.is_ca = true;
    made.certificates["trusted/root.crt"] = pem(self_signed(other).der);
}

constexpr fault faults[] = {
    {"partition-moved", "the last partition was made larger after the boot", nullptr,
     [](device& made) { made.disk.entries.back().last_lba += 2048; }},
    {"partition-moved-before", "the last partition was made larger before the boot", nullptr,
     [](device& made) {
         made.disk.entries.back().last_lba += 2048;
         measure_partitions(made);
     }},
    {"partition-type", "a partition has another type", nullptr,
     [](device& made) {
         made.disk.entries.front().type_guid = basic_data_guid;
         measure_partitions(made);
     }},
    {"partition-name", "a partition has another name", nullptr,
     [](device& made) {
         made.disk.entries.front().name = u"EFI partition";
         measure_partitions(made);
     }},
    {"partition-order", "the partitions stand in another order", nullptr,
     [](device& made) {
         std::swap(made.disk.entries.front(), made.disk.entries.back());
         measure_partitions(made);
     }},
    {"partition-added", "there is one partition more", nullptr,
     [](device& made) {
         gpt_entry added;
         added.first_lba = 1026048;
         added.last_lba = 2050047;
         made.disk.entries.push_back(added);
         measure_partitions(made);
     }},
    {"partition-twice", "a partition stands twice in the partition table", nullptr,
     [](device& made) { made.disk.entries.push_back(made.disk.entries.back()); }},
    {"partition-overlap", "the first partition reaches into the second, as the PMF lists it",
     [](device_plan& plan) { plan.pmf_changes.push_back([](pmf& file) { ++file.disk.entries.front().limit; }); },
     [](device& made) {
         ++made.disk.entries.front().last_lba;
         measure_partitions(made);
     }},
    {"disk-signature", "the boot disk has no partition table", nullptr,
     [](device& made) { made.disk.header.signature = "NOT PART"; }},
    {"disk-checksum", "the checksum of the partition table is wrong", nullptr,
     [](device& made) { made.disk.header.crc = 0; }},
    {"bom-file", "the file that lists the system's parts was changed", nullptr,
     [](device& made) { made.volume_files.begin()->second += "windows/system32/other.dll 0000\n"; }},
    {"no-bom-file", "the file that lists the system's parts is missing", nullptr,
     [](device& made) { made.volume_files.clear(); }},
    {"drive-letter", "the system's volume has another drive letter", nullptr,
     [](device& made) { made.volumes.front() = 'D'; }},
    {"drive-letter-allowed", "the system's volume has another drive letter, which is allowed (a warning)", nullptr,
     [](device& made) {
         made.volumes.front() = 'D';
         made.ini["Disk Measurements"]["BOMLocationVolumeLetterMismatchAllowed"] = "1";
     }},
    {"no-volume", "no volume lies on the system's partition", nullptr, [](device& made) { made.volumes.clear(); }},

    {"bios-version", "the BIOS was updated", nullptr, [](device& made) { made.smbios.bios_version = "VLM 1.0.43"; }},
    {"product-name", "the product has another name", nullptr,
     [](device& made) { made.smbios.product_name = "Sealed Laptop 15"; }},
    {"sku-number", "the product has another SKU number", nullptr,
     [](device& made) { made.smbios.sku_number = "SKU-15-B"; }},
    {"orbis-version", "the Orbis firmware was updated", nullptr,
     [](device& made) {
         made.smbios.orbis_version = {16, 1, 25, 2102};
     }},
    {"os-build", "the operating system was updated", nullptr, [](device& made) { made.os_version = "10.0.22631"; }},
    {"no-orbis-structure", "the SMBIOS data say nothing of the Orbis firmware", nullptr,
     [](device& made) { made.smbios.orbis_identifier = "None"; }},
    {"no-sku-number", "the SMBIOS data have no SKU number", nullptr,
     [](device& made) { made.smbios.sku_number.clear(); }},
    {"long-serial-number", "the serial number has 33 characters", nullptr,
     [](device& made) { made.smbios.serial_number.assign(33, '7'); }},
    {"other-mainboard", "the mainboard was exchanged", nullptr, exchange_mainboard},

    {"untrusted-root", "another authority took the name of the trusted one", nullptr, replace_root},
    {"no-trusted-directory", "there is no directory of trusted certificates", nullptr,
     [](device& made) { made.certificates.erase("trusted/root.crt"); }},
    {"trusted-leaf", "the only trusted certificate is the manufacturer's own", nullptr,
     [](device& made) { made.certificates["trusted/root.crt"] = pem(sample_manufacturer().der); }},
    {"trusted-not-pem", "the trusted certificate is not in PEM form", nullptr,
     [](device& made) { made.certificates["trusted/root.crt"] = "not a certificate\n"; }},
    {"no-intermediate", "the intermediate certificate is missing", nullptr,
     [](device& made) { made.certificates.erase("intermediate/line.crt"); }},
};

}  // namespace

std::span<const fault> platform_faults() {
    return faults;
}

}  // namespace vellum::lab
