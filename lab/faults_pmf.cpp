// What can be wrong with the PMF.
#include <algorithm>

#include "lab/certificate_authority.h"
#include "lab/faults.h"
#include "lab/sample_certificates.h"
#include "lab/sample_keys.h"

namespace vellum::lab {
namespace {

constexpr std::size_t flags_at = pmf_marker_size + 3 * sizeof(std::uint32_t);  // behind type, header size, version
constexpr std::size_t signature_at = pmf_marker_size + pmf_header_size - sizeof(PMF::ManifestHeader::signature);
constexpr std::uint32_t pseudo_signed_flag = 0x80000000;
constexpr std::int64_t end_of_2027 = 1'830'297'599;
constexpr std::int64_t end_of_2025 = 1'767'225'599;

using pmf_change = void (*)(pmf&);

// The factory writes another PMF.
template <pmf_change Change>
void write(device_plan& plan) {
    plan.pmf_changes.push_back(Change);
}

// The same for a device whose PMF need not be signed for production.
template <pmf_change Change>
void write_unsigned(device_plan& plan) {
    plan.level = trusted_level::tl3;
    plan.pmf_signing = false;
    plan.pmf_changes.push_back(Change);
}

void leave_out(pmf& file, PmfExtensionType type) {
    std::erase(file.order, type);
}

void expire(pmf& file) {
    file.header.expire_date = 0x20260228;
}

void carry_another_key(pmf& file) {
    certificate_plan plan = sample_manufacturer_plan();
    plan.key = sample_key(sample_key_name::seal);
    file.certificate.content = sample_manufacturer(plan).der;
}

template <std::int64_t Until>
void carry_certificate_until(pmf& file) {
    certificate_plan plan = sample_manufacturer_plan();
    plan.not_after = Until;
    file.certificate.content = sample_manufacturer(plan).der;
}

void pseudo_sign(pmf& file) {
    file.header.flags |= pseudo_signed_flag;
}

void list_pcrs_wrongly(pmf& file) {
    file.pcrs.algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::sha384);
    file.pcrs.entries.front().index = 30;
}

constexpr fault faults[] = {
    {"pmf-byte", "a byte of the PMF was changed", nullptr,
     [](device& made) { made.platform_measurements[flags_at] ^= 0x01; }},
    {"pmf-marker", "the PMF does not begin with its marker", nullptr,
     [](device& made) { made.platform_measurements.front() = 'X'; }},
    {"pmf-cut", "the end of the PMF is missing", nullptr,
     [](device& made) { made.platform_measurements.resize(made.platform_measurements.size() - 8); }},
    {"pmf-header-only", "the PMF has no extensions", nullptr,
     [](device& made) { made.platform_measurements.resize(pmf_marker_size + pmf_header_size); }},
    {"pmf-version", "the PMF is of version 2", write<[](pmf& file) { file.header.version = 0x00020000; }>, nullptr},
    {"pmf-date", "the PMF expires at a day that the calendar does not have",
     write<[](pmf& file) { file.header.expire_date = 0x20270230; }>, nullptr},
    {"pmf-exponent", "the exponent of the PMF's key is too large",
     write<[](pmf& file) { file.header.exponent_size = 2; }>, nullptr},
    {"pmf-without-disk", "the PMF says nothing of the disk",
     write<[](pmf& file) { leave_out(file, PmfExtensionType::disk_metadata); }>, nullptr},
    {"pmf-keys-twice", "the PMF has two key manifests",
     write<[](pmf& file) { file.order.push_back(PmfExtensionType::key_manifest); }>, nullptr},
    {"pmf-pcr-list", "the PMF's PCRs have an unknown index and another algorithm", write<list_pcrs_wrongly>, nullptr},
    {"pmf-measurement-type", "a partition of the PMF is measured in a way that is not supported",
     write<[](pmf& file) { file.disk.entries.back().measurement_type = 2; }>, nullptr},
    {"pmf-reserved-bytes", "reserved bytes of the PMF are set (a warning)",
     write<[](pmf& file) { file.system_info.reserved.back() = 1; }>, nullptr},
    {"pmf-reserved-options", "reserved options of the PMF's seal configuration are set (a warning)",
     write<[](pmf& file) { file.system_info.seal_configuration |= 0x8004; }>, nullptr},

    {"pmf-option", "the PMF's seal configuration has no chassis intrusion",
     write<[](pmf& file) { file.system_info.seal_configuration ^= 0x0001; }>, nullptr},
    {"pmf-without-pcr-3", "the PMF lacks a mandatory PCR (a warning)",
     write<[](pmf& file) { std::erase_if(file.pcrs.entries, [](const auto& entry) { return entry.index == 3; }); }>,
     nullptr},
    {"pmf-without-pcrs", "the PMF lists no PCR", write<[](pmf& file) { file.pcrs.entries.clear(); }>, nullptr},
    {"pmf-with-pcr-5", "the PMF lists a PCR that differs from device to device",
     write<[](pmf& file) { file.pcrs.entries.push_back(pcr_entry(5, {})); }>, nullptr},
    {"pmf-pcr-twice", "the PMF lists a PCR twice (a remark)",
     write<[](pmf& file) { file.pcrs.entries.push_back(file.pcrs.entries.front()); }>, nullptr},
    {"unlisted-seal-key", "the key that signed the seal is not in the PMF's key manifest",
     write<[](pmf& file) { file.keys.entries.front().hash.front() ^= 0xFF; }>, nullptr},
    {"seal-key-twice", "the key that signed the seal is in the PMF's key manifest twice",
     write<[](pmf& file) { file.keys.entries.push_back(file.keys.entries.front()); }>, nullptr},
    {"no-seal-keys", "the PMF's key manifest is empty", write<[](pmf& file) { file.keys.entries.clear(); }>, nullptr},
    {"bom-outside", "the file that lists the system's parts lies outside its volume",
     write<[](pmf& file) { set_text(file.disk.entries.back().measurement, "C:\\bom\\..\\..\\system.bom"); }>,
     nullptr},

    {"pmf-expired", "the PMF has expired", write<expire>, nullptr},
    {"pmf-signature", "the signature of the PMF is another's", write<[](pmf& file) {
         file.patches = {{signature_at, {0x00, 0x00}}};
     }>,
     nullptr},
    {"pmf-pseudo-signed", "the PMF is only pseudo-signed", write<pseudo_sign>, nullptr},
    {"pmf-without-certificate", "the PMF has no place for a certificate",
     write<[](pmf& file) { leave_out(file, PmfExtensionType::certificate); }>, nullptr},
    {"pmf-empty-certificate", "the PMF carries no certificate",
     write<[](pmf& file) { file.certificate.content.clear(); }>, nullptr},
    {"pmf-bad-certificate", "what the PMF carries is not a certificate",
     write<[](pmf& file) { file.certificate.content.assign(64, 0x5A); }>, nullptr},
    {"pmf-foreign-certificate", "the PMF carries the certificate of another key", write<carry_another_key>, nullptr},
    {"pmf-expired-certificate", "the certificate that the PMF carries has expired",
     write<carry_certificate_until<end_of_2025>>, nullptr},
    {"pmf-leaf-pseudo-signed", "the PMF is pseudo-signed with a certificate of an authority (a warning)",
     write_unsigned<pseudo_sign>, nullptr},
    {"pmf-outlives-certificate", "the certificate that the PMF carries expires before it (a warning)",
     write_unsigned<carry_certificate_until<end_of_2027>>, nullptr},
};

}  // namespace

std::span<const fault> pmf_faults() {
    return faults;
}

}  // namespace vellum::lab
