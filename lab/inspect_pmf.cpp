#include <algorithm>
#include <cstdio>

#include "core/text.h"
#include "lab/inspect_report.h"
#include "pmf/certificate.h"
#include "pmf/certificates.h"
#include "pmf/dates.h"
#include "pmf/layout.h"
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"
#include "pmf/signature.h"
#include "pmf/trust_steps.h"

namespace vellum::lab {
namespace {

std::string date_text(std::uint32_t bcd) {
    const pmf_date date = decode_pmf_date(bcd);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d%s", date.year, date.month, date.day,
                  valid_pmf_date(bcd) ? "" : " (no date)");
    return text.data();
}

std::string named_code(const char* name, std::uint32_t code) {
    return std::string(name) + " (" + std::to_string(code) + ")";
}

// The parts of a version, joined by dots.
std::string version_text(std::span<const std::uint16_t> parts) {
    std::string text;
    for (const std::uint16_t part : parts) {
        text += (text.empty() ? "" : ".") + std::to_string(part);
    }
    return text;
}

report describe(const PMF::ManifestHeader& header) {
    return {{"type", header.type},
            {"header_size_dwords", header.header_size},
            {"version", hex_number(header.version)},
            {"flags", hex_number(header.flags)},
            {"pseudo_signed", header.pseudo_signed()},
            {"expire_date", date_text(header.expire_date)},
            {"size_dwords", header.size},
            {"id", hex_number(header.id)},
            {"internal_data", hex_number(header.internal_data)},
            {"security_version", header.security_version},
            {"reserved_1", upper_hex(header.reserved1)},
            {"reserved_2", upper_hex(header.reserved2)},
            {"modulus_size_dwords", header.modulus_size},
            {"exponent_size_dwords", header.exponent_size},
            {"modulus_least_significant_first", upper_hex(header.modulus)},
            {"exponent_least_significant_first", upper_hex(header.exponent)},
            {"signature_least_significant_first", upper_hex(header.signature)}};
}

report describe(const PMF::PcrEntry& entry) {
    return {{"pcr", entry.index}, {"value", lower_hex(entry.value)}, {"reserved", upper_hex(entry.reserved)}};
}

report describe(const PMF::KeyEntry& entry) {
    return {{"id", entry.id},
            {"policy", entry.policy},
            {"second_policy", entry.second_policy},
            {"reserved", upper_hex(entry.reserved)},
            {"hash", lower_hex(entry.hash)}};
}

report describe(const PMF::PartitionEntry& entry) {
    return {{"guid", guid_text(entry.guid)},
            {"name", utf16_text(entry.name, entry.name.size() / 2)},
            {"first_lba", entry.base},
            {"last_lba", entry.limit},
            {"reserved", upper_hex(entry.reserved)},
            {"measurement_type", named_code(measurement_type_name(entry.measurement_type), entry.measurement_type)},
            {"measurement_text", pmf_text(entry.measurement)},
            {"measurement", upper_hex(entry.measurement)},
            {"hash", lower_hex(entry.hash)}};
}

template <typename Extension>
report describe_table(const Extension& extension) {
    report out = {{"reserved", upper_hex(extension.reserved)},
                  {"hash_algorithm", named_code(hash_algorithm_name(extension.algorithm), extension.algorithm)},
                  {"count", extension.count},
                  {"entry_size", extension.entry_size},
                  {"entries", report::array()}};
    for (const auto& entry : extension.entries) {
        out["entries"].push_back(describe(entry));
    }
    return out;
}

report describe(const PMF::PCRMetadataFileExtension& extension) {
    return describe_table(extension);
}

report describe(const PMF::DiskMetadataFileExtension& extension) {
    return describe_table(extension);
}

report describe(const PMF::KeyManifestExtension& extension) {
    report out = {{"manifest_type", extension.manifest_type}};
    out.update(describe_table(extension));
    return out;
}

report describe(const PMF::SystemInfoExtension& info) {
    return {{"product_name", pmf_text(info.product_name)},
            {"sku_number", pmf_text(info.sku_number)},
            {"build_number", info.build_number},
            {"os_build", version_text(info.os_build)},
            {"expire_date", date_text(info.expire_date)},
            {"seal_configuration", hex_number(info.seal_configuration).replace(2, 4, "")},
            {"reserved", upper_hex(info.reserved)},
            {"bios_version", pmf_text(info.bios_version)},
            {"orbis_version", version_text(info.orbis_version)}};
}

template <typename Extension>
report describe_content(const pmf_extension& extension) {
    Extension decoded;
    return read(extension.bytes, decoded) ? describe(decoded) : report();
}

report describe(const pmf_extension& extension) {
    report out = {{"type", named_code(extension_type_name(extension.type), extension.type)},
                  {"size", extension.bytes.size()}};
    switch (static_cast<PmfExtensionType>(extension.type)) {
        case PmfExtensionType::system_info: out.update(describe_content<PMF::SystemInfoExtension>(extension)); break;
        case PmfExtensionType::disk_metadata:
            out.update(describe_content<PMF::DiskMetadataFileExtension>(extension));
            break;
        case PmfExtensionType::pcr_metadata:
            out.update(describe_content<PMF::PCRMetadataFileExtension>(extension));
            break;
        case PmfExtensionType::key_manifest:
            out.update(describe_content<PMF::KeyManifestExtension>(extension));
            break;
        default: out["content"] = upper_hex(byte_view(extension.bytes).subspan(pmf_extension_head_size)); break;
    }
    return out;
}

// The certificate that the PMF carries; null when it carries none or one that does not decode.
certificate_handle carried_certificate(const PmfDocument& document, bool& carried) {
    const auto is_certificate = [](const pmf_extension& extension) {
        return extension.type == static_cast<std::uint32_t>(PmfExtensionType::certificate);
    };
    certificate_handle certificate;
    const auto found = std::find_if(document.extensions.begin(), document.extensions.end(), is_certificate);
    carried = found != document.extensions.end() && found->bytes.size() > pmf_extension_head_size;
    if (carried) {
        static_cast<void>(decode_certificate(byte_view(found->bytes).subspan(pmf_extension_head_size), certificate));
    }
    return certificate;
}

report describe(X509& certificate, const PmfDocument& document) {
    certificate_times times;
    std::vector<std::uint8_t> fingerprint;
    bool self_signed = false;
    const bool dated = ok(read_certificate_times(certificate, times));
    static_cast<void>(certificate_fingerprint(certificate, fingerprint));
    static_cast<void>(is_self_signed(certificate, self_signed));
    return {{"subject", subject_text(certificate)},
            {"issuer", issuer_text(certificate)},
            {"valid_from", dated ? report(utc_time_string(times.not_before).value_or("")) : report()},
            {"valid_to", dated ? report(utc_time_string(times.not_after).value_or("")) : report()},
            {"sha256_fingerprint", upper_hex(fingerprint)},
            {"self_signed", self_signed},
            {"certifies_header_key", ok(check_header_key(document, {&certificate, "certificate"}))}};
}

report describe_signature(const PmfDocument& document, finding_console& findings) {
    bool verified = false;
    const bool valid = ok(verify_pmf_signature(document, verified)) && verified;
    return {{"valid", valid}, {"findings", findings.take()}};
}

report describe_certificate(const inspect_request& request, const PmfDocument& document,
                            directory_listing& directories, finding_console& findings) {
    bool carried = false;
    const certificate_handle certificate = carried_certificate(document, carried);
    report out = {{"carried", carried}};
    if (certificate) {
        out.update(describe(*certificate, document));
    }
    if (certificate && !request.trusted_dir.empty()) {
        bool trusted = false;
        const result tried = verify_certificate_chain(*certificate, request.trusted_dir, request.intermediate_dir,
                                                      directories, trusted);
        out["trusted"] = ok(tried) && trusted;
    }
    out["findings"] = findings.take();
    return out;
}

report describe_rules(const PmfDocument& document, finding_console& findings) {
    PMF::PCRMetadataFileExtension pcrs;
    report out;
    out["strict_rules_hold"] = ok(run_strict_rules(document));
    out["strict_findings"] = findings.take();
    out["mandatory_pcrs_present"] = ok(get_pmf_extension(document, pcrs)) && ok(check_pmf_pcr_set(pcrs));
    out["pcr_findings"] = findings.take();
    return out;
}

}  // namespace

bool describe_pmf(const inspect_request& request, directory_listing& directories, finding_console& findings,
                  report& out) {
    out["file"] = request.path;
    std::vector<std::uint8_t> bytes;
    std::optional<PmfDocument> document;
    sha384_value digest{};
    const bool well_formed =
        ok(load_pmf_file(request.path, bytes)) && ok(parse_pmf(bytes, document)) && ok(pmf_digest(bytes, digest));
    out["well_formed"] = well_formed;
    out["findings"] = findings.take();
    if (!well_formed) {
        return false;
    }
    out["size"] = bytes.size();
    out["sha384"] = lower_hex(digest);
    out["signature"] = describe_signature(*document, findings);
    out["certificate"] = describe_certificate(request, *document, directories, findings);
    out["rules"] = describe_rules(*document, findings);
    out["header"] = describe(document->header);
    out["extensions"] = report::array();
    for (const pmf_extension& extension : document->extensions) {
        out["extensions"].push_back(describe(extension));
    }
    out["trailing_bytes"] = document->trailing_bytes;
    return true;
}

}  // namespace vellum::lab
