#include "lab/sealing.h"

#include "base/text.h"
#include "config/hotkey.h"
#include "core/times.h"
#include "firmware/seal_config.h"
#include "lab/sample_certificates.h"
#include "lab/sample_keys.h"

namespace vellum::lab {
namespace {

constexpr std::uint32_t signed_instance = 2;
constexpr std::uint32_t unsigned_instance = 1;
constexpr std::uint32_t seconds_to_enable = 60;
constexpr std::uint16_t seal_key_id = 7;
constexpr std::uint16_t no_key_id = 0xFFFF;

constexpr const char* hotkey = "CTRL+ALT+F1";
constexpr std::uint32_t opt_out_seconds = 30;

constexpr std::uint8_t flag(bool set) {
    return set ? 1 : 0;
}

seal_flag_record flags_of(const device_plan& plan) {
    seal_flag_record flags;
    flags.chassis_intrusion = 1;
    flags.bios_lock = 1;
    flags.custom_opt_out = 1;
    flags.sed_lock = flag(plan.sed_lock);
    flags.seal_signing = flag(plan.seal_signing);
    flags.pmf_signing = flag(plan.pmf_signing);
    flags.ironwall = flag(plan.ironwall);
    return flags;
}

// Seals one machine, a part after the other; each part takes what the ones before it have made.
class sealing {
  public:
    sealing(const device_plan& plan, const machine_facts& facts, device& out)
        : plan_(plan), facts_(facts), out_(out) {}

    result run() {
        RETURN_IF_FAILED(device_id_to_printable(plan_.id_source, facts_.id, printable_id_));
        RETURN_IF_FAILED(ini_seal_config_to_word(flags_of(plan_), out_.state.configuration));
        RETURN_IF_FAILED(make_certificates());
        RETURN_IF_FAILED(make_pmf());
        RETURN_IF_FAILED(seal());
        configure();
        return result::success;
    }

  private:
    result make_certificates();
    result make_pmf();
    result seal();
    void configure();

    void describe_platform(pmf& file) const;
    result sign_seal(byte_view data_bytes);
    std::string identity_file(const seal_data& data) const;

    bool trusted_level_3() const { return plan_.level == trusted_level::tl3; }
    EVP_PKEY* seal_key() const {
        return plan_.keys.seal_key ? plan_.keys.seal_key.get() : sample_key(sample_key_name::seal);
    }
    std::uint32_t instance() const { return plan_.seal_signing ? signed_instance : unsigned_instance; }

    const device_plan& plan_;
    const machine_facts& facts_;
    device& out_;
    std::string printable_id_;
    issued_certificate manufacturer_;
};

result sealing::make_certificates() {
    if (plan_.keys.pmf_key) {
        manufacturer_ = {plan_.keys.certificate, "", plan_.keys.pmf_key.get()};
        out_.certificates = plan_.keys.authorities;
        return result::success;
    }
    out_.certificates["trusted/root.crt"] = pem(sample_root().der);
    out_.certificates["intermediate/line.crt"] = pem(sample_intermediate().der);
    manufacturer_ = sample_manufacturer();
    return manufacturer_.der.empty() ? result::internal_failure : result::success;
}

void sealing::describe_platform(pmf& file) const {
    auto& info = file.system_info;
    set_text(info.product_name, facts_.product_name);
    set_text(info.sku_number, facts_.sku_number);
    set_text(info.bios_version, facts_.bios_version);
    info.orbis_version = facts_.orbis_version;
    info.os_build = facts_.os_build;
    info.seal_configuration = out_.state.configuration;
}

result sealing::make_pmf() {
    pmf file;
    describe_platform(file);
    file.disk.entries = facts_.partitions;
    file.pcrs.entries.clear();
    for (std::uint16_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((plan_.listed_pcrs >> pcr & 1U) != 0) {
            file.pcrs.entries.push_back(pcr_entry(pcr, facts_.pcrs[pcr]));
        }
    }
    sha256_value seal_key_hash{};
    RETURN_IF_FAILED(sha256(public_key_der(seal_key()), seal_key_hash));
    file.keys.entries = {key_entry(seal_key_id, seal_key_hash)};
    file.certificate.content = manufacturer_.der;
    file.header.expire_date = plan_.expire_date;
    for (const auto change : plan_.pmf_changes) {
        change(file);
    }
    const bool made = sign(file, manufacturer_.key);
    out_.platform_measurements = build(file);
    return made ? result::success : result::internal_failure;
}

result sealing::sign_seal(byte_view data_bytes) {
    out_.signature.instance_id = instance();
    out_.signature.algorithm = trusted_level_3() ? 1 : 0;
    out_.signature.odm_key_id = trusted_level_3() ? no_key_id : seal_key_id;
    if (trusted_level_3()) {
        sign_trusted_level_3(out_.signature, data_bytes);
        return result::success;
    }
    const bool made = sign_trusted_level_1(out_.signature, data_bytes, seal_key());
    return made ? result::success : result::internal_failure;
}

result sealing::seal() {
    seal_data data;
    data.timestamp = plan_.seal_time;
    data.device_id_type = static_cast<std::uint8_t>(plan_.id_source);
    const byte_view id = facts_.id.bytes();
    data.device_id.assign(id.begin(), id.end());
    if (!ok(sha384(out_.platform_measurements, data.pmf_hash))) {
        return result::internal_failure;
    }
    for (const auto change : plan_.seal_changes) {
        change(data);
    }
    const std::vector<std::uint8_t> data_bytes = build(data);
    RETURN_IF_FAILED(sign_seal(data_bytes));
    if (trusted_level_3()) {
        out_.tl3_file = identity_file(data);
    }
    out_.seal_log = {seal_configured(plan_.seal_time, instance(), data_bytes),
                     seal_enabled(plan_.seal_time + seconds_to_enable)};
    out_.state.hotkey = parse_hotkey_sequence(hotkey).value_or(std::vector<std::uint8_t>());
    out_.state.opt_out_interval = opt_out_seconds;
    return result::success;
}

std::string sealing::identity_file(const seal_data& data) const {
    return std::string(
               "sep=,\nKVR TL3 Seal File,version,1\nSeal Date & Time,Device ID Type,Device ID,Seal Instance ID,") +
           "TL3 Sign Algorithm,Seal Integrity Data\n" + utc_iso_string(data.timestamp).value_or("") + "," +
           device_id_source_name(plan_.id_source) + "," + printable_id_ + "," + std::to_string(instance()) + "," +
           signature_scheme_name(signature_scheme::sha256_null_encryption) + "," + lower_hex(out_.signature.value) +
           "\n";
}

void sealing::configure() {
    const auto digit = [](bool set) { return set ? "1" : "0"; };
    auto& options = out_.ini["Expected Seal Configuration"];
    for (const char* key : {"ChassisIntrusionEnabled", "BIOSLockEnabled", "CustomOptOutEnabled"}) {
        options[key] = "1";
    }
    options["SEDLockEnabled"] = digit(plan_.sed_lock);
    options["SealSigningEnabled"] = digit(plan_.seal_signing);
    options["PMFSigningEnabled"] = digit(plan_.pmf_signing);
    out_.ini["Expected Device Identification"]["DeviceIdSource"] = device_id_source_name(plan_.id_source);
    out_.ini["Expected Norvane KVR Feature configuration"]["IronwallEnabled"] = digit(plan_.ironwall);
    out_.ini["Expected CustomOptOut"] = {{"OptOutHotKey", hotkey},
                                         {"OptOutIntervalSeconds", std::to_string(opt_out_seconds)}};
    out_.ini["Seal Signature Validation"]["ExpectedSealSigningAlgorithm"] = signature_scheme_name(
        trusted_level_3() ? signature_scheme::sha256_null_encryption : signature_scheme::sha256_rsa_2048_pkcs1);
    if (source_takes_external_id(plan_.id_source)) {
        out_.external_device_id = printable_id_;
    }
}

}  // namespace

result seal_machine(const device_plan& plan, const machine_facts& facts, device& out) {
    return sealing(plan, facts, out).run();
}

log_event measured_seal(const device_plan& plan, const device& sealed) {
    seal_measurement seal;
    const seal_flag_record flags = flags_of(plan);
    seal.configuration = {flags.chassis_intrusion,
                          flags.bios_lock,
                          flags.disk_measurement_required,
                          flags.seal_signing,
                          flags.custom_opt_out,
                          flags.preboot_disk_measurement_required,
                          flags.sed_lock,
                          flags.ironwall,
                          flags.pmf_signing,
                          flags.measurement_collection_boot};
    seal.seal_log_hash = seal_log_hash(build(sealed.seal_log));
    return build(seal);
}

}  // namespace vellum::lab
