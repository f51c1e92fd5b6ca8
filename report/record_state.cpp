#include "report/record_state.h"

#include "app/stages.h"
#include "config/device_id.h"
#include "core/file.h"
#include "firmware/status.h"
#include "pmf/certificate.h"
#include "pmf/dates.h"
#include "seal/seal_events.h"
#include "tpm/event_details/signature_list.h"
#include "tpm/event_details/text_fields.h"

namespace vellum::reporting {
namespace {

constexpr std::uint64_t max_input = std::uint64_t{256} * 1024 * 1024;

std::string dotted(std::initializer_list<unsigned> numbers) {
    std::string out;
    for (const unsigned number : numbers) {
        out += (out.empty() ? "" : ".") + std::to_string(number);
    }
    return out;
}

std::string digest_text(byte_view bytes) {
    sha256_value digest{};
    return ok(sha256(bytes, digest)) ? lower_hex(digest) : "";
}

void add_file(const char* what, const std::string& path, std::vector<input_record>& out) {
    std::vector<std::uint8_t> bytes;
    std::string reason;
    if (!path.empty() && ok(read_file(path, max_input, bytes, reason))) {
        out.push_back({what, path, bytes.size(), digest_text(bytes)});
    }
}

seal_event_record event_of(const seal_record& record) {
    seal_event_record out;
    out.name = seal_event_name(record.id);
    out.time = record.timestamp;
    out.says = describe_seal_event(record);
    if (const auto counters = counters_of(record)) {
        out.boot_counter = counters->boot;
        out.execution_counter = counters->execution;
    }
    return out;
}

void record_platform(const validation_state& state, device_record& out) {
    const platform_smbios_info& smbios = state.smbios;
    out.product = smbios.product_name;
    out.sku = smbios.sku_number;
    out.serial = smbios.serial_number;
    out.uuid = guid_text(smbios.uuid);
    out.bios_version = smbios.bios_version;
    const auto& orbis = smbios.orbis_version;
    out.orbis_version = dotted({orbis[0], orbis[1], orbis[2], orbis[3]});
    out.os_version = dotted({state.os_version.os_major, state.os_version.os_minor, state.os_version.os_build});
}

partition_record partition_of(const PMF::PartitionEntry& entry) {
    partition_record out;
    out.type = guid_text(entry.guid);
    out.name = utf8_of_utf16(entry.name);
    out.first_lba = entry.base;
    out.last_lba = entry.limit;
    return out;
}

void add_certificate(const char* role, const X509& certificate, std::vector<certificate_record>& out) {
    std::vector<std::uint8_t> der;
    certificate_times times;
    if (!ok(encode_certificate(certificate, der)) || !ok(read_certificate_times(certificate, times))) {
        return;
    }
    if (const auto facts = certificate_facts_of(der)) {
        out.push_back(
            {role, facts->subject, facts->issuer, facts->serial, facts->sha256, times.not_before, times.not_after});
    }
}

// The chain as it was built, else the certificate that the PMF carries.
void record_signers(const validation_state& state, std::vector<certificate_record>& out) {
    const certificate_chain& chain = state.pmf_chain;
    const int length = chain.certificates ? sk_X509_num(chain.certificates.get()) : 0;
    for (int i = 0; i < length; ++i) {
        const bool trusted = chain.verified && i + 1 == length;
        add_certificate(i == 0    ? "manufacturer"
                        : trusted ? "trusted"
                                  : "intermediate",
                        *sk_X509_value(chain.certificates.get(), i), out);
    }
    const pmf_extension* carried = nullptr;
    certificate_handle certificate;
    if (length == 0 && ok(find_pmf_extension(*state.pmf, PmfExtensionType::certificate, carried)) &&
        ok(decode_certificate(pmf_extension_content(*carried), certificate))) {
        add_certificate("manufacturer", *certificate, out);
    }
}

void record_device(const validation_state& state, device_record& out) {
    if (state.sealed_device_id) {
        const auto source = static_cast<DeviceIdSource>(state.sealed_device_id->type);
        out.id_source = device_id_source_name(source);
        if (!ok(device_id_to_printable(source, state.sealed_device_id->id, out.id))) {
            out.id.clear();
        }
    }
    if (state.stages.passed(SLOT_PLATFORM_INFO)) {
        record_platform(state, out);
    }
    if (const auto& version = state.firmware.version) {
        out.firmware_version = dotted({version->major, version->minor});
    }
    if (const auto& driver = state.driver.driver) {
        out.driver_version = dotted({driver->major, driver->minor, driver->hotfix, driver->build});
    }
    if (state.feature_state) {
        out.feature_state = feature_state_name(state.feature_state->feature_state);
        out.seal_state = seal_state_name(state.feature_state->seal_state);
    }
    if (state.seal_log) {
        for (const seal_record& record : state.seal_log->records) {
            out.history.push_back(event_of(record));
        }
    }
}

void record_inputs(const validation_state& state, std::vector<input_record>& out) {
    add_file("configuration", state.options.config_file.value_or(default_config_file), out);
    if (!state.pmf_bytes.empty()) {
        out.push_back({"pmf", state.pmf_file.value_or(""), state.pmf_bytes.size(), digest_text(state.pmf_bytes)});
    }
    add_file("tl3_identity", state.config.tl3_seal_identity_verification_file, out);
    add_file("external_certificate", state.config.pmf_external_certificate_path, out);
    if (state.live_log) {
        const std::string& path = state.log_source == live_log_source::file ? state.tpm_event_log_file : "";
        out.push_back({"event_log", path, state.live_log->log.size(), digest_text(state.live_log->log)});
    }
    if (state.reference_log) {
        out.push_back({"reference_log", state.reference_tpm_log_file, state.reference_log->log.size(),
                       digest_text(state.reference_log->log)});
    }
}

void record_pmf(const validation_state& state, run_record& out) {
    if (!state.pmf) {
        return;
    }
    out.pmf.expires = pmf_expiry_instant(state.pmf->header.expire_date, state.machine.time);
    record_signers(state, out.pmf.signers);
    for (const pmf_extension& extension : state.pmf->extensions) {
        PMF::DiskMetadataFileExtension disk;
        if (static_cast<PmfExtensionType>(extension.type) == PmfExtensionType::disk_metadata &&
            decode(extension.bytes, disk)) {
            for (const PMF::PartitionEntry& entry : disk.entries) {
                out.pmf.partitions.push_back(partition_of(entry));
            }
        }
    }
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((state.pmf_pcrs.mask >> pcr & 1U) != 0) {
            out.pcrs[pcr].pmf = state.pmf_pcrs.values[pcr];
        }
    }
}

}  // namespace

void record_state(const validation_state& state, run_record& out) {
    record_device(state, out.device);
    record_inputs(state, out.inputs);
    record_pmf(state, out);
    if (state.stages.passed(SLOT_RETRIEVE_PCRS)) {
        for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
            out.pcrs[pcr].tpm = state.tpm_pcrs[pcr];
        }
    }
    if (state.live_log) {
        record_log(state, out);
    }
}

}  // namespace vellum::reporting
