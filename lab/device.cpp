#include "lab/device.h"

#include <algorithm>

#include "base/text.h"
#include "config/device_id.h"
#include "config/hotkey.h"
#include "core/times.h"
#include "lab/digest_of.h"
#include "lab/sample_boot.h"
#include "lab/sample_certificates.h"
#include "lab/sample_keys.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

constexpr std::int64_t seal_time = 1'768'471'200;  // 2026-01-15 10:00:00 UTC
constexpr std::int64_t boot_time = 1'772'443'800;  // 2026-03-02 09:30:00 UTC
constexpr std::int64_t seconds_since_boot = 1800;

constexpr std::uint32_t signed_instance = 2;
constexpr std::uint32_t unsigned_instance = 1;
constexpr std::uint16_t seal_key_id = 7;
constexpr std::uint16_t no_key_id = 0xFFFF;
constexpr std::uint16_t sealed_options = 0x0053;  // chassis, BIOS lock, opt-out, SED lock
constexpr std::uint16_t seal_signing_option = 0x0008;
constexpr std::uint16_t pmf_signing_option = 0x0100;
constexpr std::uint16_t ironwall_option = 0x4000;

constexpr const char* hotkey = "CTRL+ALT+F1";
constexpr std::uint32_t opt_out_seconds = 30;

constexpr const char* bom_location = "C:\\bom\\system.bom";
constexpr const char* bom_file = "C/bom/system.bom";
constexpr const char* bom_text = "windows/system32/ntoskrnl.exe 7d0c\nwindows/system32/hal.dll 51ab\n";

// The PCRs that a PMF may list.
constexpr std::uint16_t measured_pcrs[] = {0, 1, 2, 3, 4, 6, 7, 11};

// C12A7328-F81F-11D2-BA4B-00A0C93EC93B, the EFI system partition.
constexpr guid efi_system_guid = {0x28, 0x73, 0x2A, 0xC1, 0x1F, 0xF8, 0xD2, 0x11,
                                  0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B};

// Makes one device, a part after the other; each part takes what the ones before it have made.
class factory {
  public:
    factory(const device_plan& plan, device& out) : plan_(plan), out_(out) {}

    result run() {
        make_platform();
        boot_before_seal();
        RETURN_IF_FAILED(device_id_to_printable(plan_.id_source, identity(), printable_id_));
        RETURN_IF_FAILED(make_certificates());
        RETURN_IF_FAILED(make_pmf());
        RETURN_IF_FAILED(seal());
        boot_after_seal();
        configure();
        return result::success;
    }

  private:
    void make_platform();
    void boot_before_seal();
    result make_certificates();
    result make_pmf();
    result seal();
    void boot_after_seal();
    void configure();

    void describe_platform(pmf& file) const;
    void describe_disk(pmf& file) const;
    device_id identity() const;
    std::string identity_file(const seal_data& data) const;

    bool trusted_level_3() const { return plan_.level == trusted_level::tl3; }
    std::uint16_t options() const {
        return static_cast<std::uint16_t>(sealed_options | (plan_.ironwall ? ironwall_option : 0) |
                                          (plan_.seal_signing ? seal_signing_option : 0) |
                                          (plan_.pmf_signing ? pmf_signing_option : 0));
    }
    std::uint32_t instance() const { return plan_.seal_signing ? signed_instance : unsigned_instance; }

    const device_plan& plan_;
    device& out_;
    std::string printable_id_;
    issued_certificate manufacturer_;
};

constexpr std::uint8_t flag(bool set) {
    return set ? 1 : 0;
}

device_id id_of(byte_view bytes) {
    device_id id;
    std::copy(bytes.begin(), bytes.end(), id.data.begin());
    id.size = bytes.size();
    return id;
}

device_id factory::identity() const {
    constexpr std::uint8_t blob[] = {0x0A, 0x0B, 0xC0, 0xDE};
    switch (plan_.id_source) {
        case DeviceIdSource::SERIAL_NUMBER: return id_of(as_bytes(out_.smbios.serial_number));
        case DeviceIdSource::OEM_DEFINED_LITERAL: return id_of(as_bytes("LINE-4_unit.0042"));
        case DeviceIdSource::OEM_DEFINED_BLOB: return id_of(blob);
        default: return id_of(out_.smbios.uuid);
    }
}

void factory::make_platform() {
    out_.now = boot_time + seconds_since_boot;
    gpt_entry system;
    system.type_guid = efi_system_guid;
    system.first_lba = 2048;
    system.last_lba = 206847;
    system.name = u"EFI system partition";
    gpt_entry windows;
    windows.first_lba = 206848;
    windows.last_lba = 1026047;
    out_.disk.entries = {system, windows};
    out_.volume_files[bom_file] = bom_text;
}

void factory::boot_before_seal() {
    out_.boot = clean_boot();
    if (!plan_.ironwall) {
        out_.boot.events.front() = startup_locality(0);
    }
}

result factory::make_certificates() {
    out_.certificates["trusted/root.crt"] = pem(sample_root().der);
    out_.certificates["intermediate/line.crt"] = pem(sample_intermediate().der);
    manufacturer_ = sample_manufacturer();
    return manufacturer_.der.empty() ? result::internal_failure : result::success;
}

void factory::describe_platform(pmf& file) const {
    auto& info = file.system_info;
    set_text(info.product_name, out_.smbios.product_name);
    set_text(info.sku_number, out_.smbios.sku_number);
    set_text(info.bios_version, out_.smbios.bios_version);
    info.orbis_version = out_.smbios.orbis_version;
    info.os_build = {10, 0, 19045};
    info.seal_configuration = options();
}

void factory::describe_disk(pmf& file) const {
    const sha256_value bom_hash = digest_of(as_bytes(bom_text));
    file.disk.entries = {partition_entry("EFI system partition", 2048, 206847, "", {}),
                         partition_entry("Basic data partition", 206848, 1026047, bom_location, bom_hash)};
    for (std::size_t i = 0; i < file.disk.entries.size(); ++i) {
        file.disk.entries[i].guid = out_.disk.entries[i].type_guid;
    }
}

result factory::make_pmf() {
    pmf file;
    describe_platform(file);
    describe_disk(file);
    const pcr_value_list values = pcr_values_after(out_.boot);
    file.pcrs.entries.clear();
    for (const std::uint16_t pcr : measured_pcrs) {
        file.pcrs.entries.push_back(pcr_entry(pcr, values[pcr]));
    }
    sha256_value seal_key_hash{};
    const result hashed = sha256(public_key_der(sample_key(sample_key_name::seal)), seal_key_hash);
    file.keys.entries = {key_entry(seal_key_id, seal_key_hash)};
    file.certificate.content = manufacturer_.der;
    file.header.expire_date = 0x20281231;
    for (const auto change : plan_.pmf_changes) {
        change(file);
    }
    const bool made = sign(file, sample_key(sample_key_name::manufacturer));
    out_.platform_measurements = build(file);
    return ok(hashed) && made ? result::success : result::internal_failure;
}

result factory::seal() {
    seal_data data;
    data.timestamp = static_cast<std::uint32_t>(seal_time);
    data.device_id_type = static_cast<std::uint8_t>(plan_.id_source);
    const device_id id = identity();
    data.device_id.assign(id.data.begin(), id.data.begin() + static_cast<std::ptrdiff_t>(id.size));
    if (!ok(sha384(out_.platform_measurements, data.pmf_hash))) {
        return result::internal_failure;
    }
    for (const auto change : plan_.seal_changes) {
        change(data);
    }
    const std::vector<std::uint8_t> data_bytes = build(data);
    out_.signature.instance_id = instance();
    out_.signature.algorithm = trusted_level_3() ? 1 : 0;
    out_.signature.odm_key_id = trusted_level_3() ? no_key_id : seal_key_id;
    if (trusted_level_3()) {
        sign_trusted_level_3(out_.signature, data_bytes);
        out_.tl3_file = identity_file(data);
    } else if (!sign_trusted_level_1(out_.signature, data_bytes, sample_key(sample_key_name::seal))) {
        return result::internal_failure;
    }
    const auto sealed = static_cast<std::uint32_t>(seal_time);
    const auto booted = static_cast<std::uint32_t>(boot_time);
    out_.seal_log = {seal_configured(sealed, instance(), data_bytes), seal_enabled(sealed + 60),
                     disk_lock_password_retrieved(booted, 0, 1, 1), disk_lock_removal(booted + 5, 1, 1)};
    out_.state.configuration = options();
    out_.state.hotkey = parse_hotkey_sequence(hotkey).value_or(std::vector<std::uint8_t>());
    out_.state.opt_out_interval = opt_out_seconds;
    return result::success;
}

std::string factory::identity_file(const seal_data& data) const {
    return std::string(
               "sep=,\nKVR TL3 Seal File,version,1\nSeal Date & Time,Device ID Type,Device ID,Seal Instance ID,") +
           "TL3 Sign Algorithm,Seal Integrity Data\n" + utc_iso_string(data.timestamp).value_or("") + "," +
           device_id_source_name(plan_.id_source) + "," + printable_id_ + "," + std::to_string(instance()) + "," +
           signature_scheme_name(signature_scheme::sha256_null_encryption) + "," + lower_hex(out_.signature.value) +
           "\n";
}

// The firmware measures the seal and the partition table before it hands over to the boot loader.
void factory::boot_after_seal() {
    seal_measurement seal;
    seal.configuration = {1, 1, 0, flag(plan_.seal_signing), 1, 0, 1, flag(plan_.ironwall), flag(plan_.pmf_signing),
                          0};
    seal.seal_log_hash = seal_log_hash(build(out_.seal_log));
    gpt_measurement partitions;
    partitions.table = out_.disk;
    auto& events = out_.boot.events;
    const auto separator =
        std::find_if(events.begin(), events.end(), [](const log_event& event) { return event.type == EV_SEPARATOR; });
    events.insert(separator, {build(seal), build(partitions)});
}

void factory::configure() {
    auto& options = out_.ini["Expected Seal Configuration"];
    for (const char* key : {"ChassisIntrusionEnabled", "BIOSLockEnabled", "CustomOptOutEnabled", "SEDLockEnabled"}) {
        options[key] = "1";
    }
    options["SealSigningEnabled"] = plan_.seal_signing ? "1" : "0";
    options["PMFSigningEnabled"] = plan_.pmf_signing ? "1" : "0";
    out_.ini["Expected Device Identification"]["DeviceIdSource"] = device_id_source_name(plan_.id_source);
    out_.ini["Expected Norvane KVR Feature configuration"]["IronwallEnabled"] = plan_.ironwall ? "1" : "0";
    out_.ini["Expected CustomOptOut"] = {{"OptOutHotKey", hotkey},
                                         {"OptOutIntervalSeconds", std::to_string(opt_out_seconds)}};
    out_.ini["Seal Signature Validation"]["ExpectedSealSigningAlgorithm"] = signature_scheme_name(
        trusted_level_3() ? signature_scheme::sha256_null_encryption : signature_scheme::sha256_rsa_2048_pkcs1);
    if (source_takes_external_id(plan_.id_source)) {
        out_.external_device_id = printable_id_;
    }
}

}  // namespace

result make_device(const device_plan& plan, device& out) {
    return factory(plan, out).run();
}

}  // namespace vellum::lab
