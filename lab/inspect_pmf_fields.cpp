// Every field of a PMF by its name.
#include <cstdio>

#include "base/text.h"
#include "core/findings.h"
#include "firmware/seal_config.h"
#include "lab/inspect_report.h"
#include "pmf/dates.h"

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
            {"unexamined_1", lower_hex(header.unexamined1)},
            {"expire_date", date_text(header.expire_date)},
            {"size_dwords", header.size},
            {"id", hex_number(header.id)},
            {"internal_data", hex_number(header.internal_data)},
            {"unexamined_2", lower_hex(header.unexamined2)},
            {"security_version", header.security_version},
            {"reserved_1", lower_hex(header.reserved1)},
            {"reserved_2", lower_hex(header.reserved2)},
            {"modulus_size_dwords", header.modulus_size},
            {"exponent_size_dwords", header.exponent_size},
            {"modulus_least_significant_first", lower_hex(header.modulus)},
            {"exponent_least_significant_first", lower_hex(header.exponent)},
            {"signature_least_significant_first", lower_hex(header.signature)}};
}

report describe(const PMF::PcrEntry& entry) {
    return {{"pcr", entry.index}, {"value", lower_hex(entry.value)}, {"reserved", lower_hex(entry.reserved)}};
}

report describe(const PMF::KeyEntry& entry) {
    return {{"id", entry.id},
            {"policy", entry.policy},
            {"second_policy", entry.second_policy},
            {"reserved", lower_hex(entry.reserved)},
            {"hash", lower_hex(entry.hash)}};
}

report describe(const PMF::PartitionEntry& entry) {
    return {{"guid", guid_text(entry.guid)},
            {"name", utf16_text(entry.name, entry.name.size() / 2)},
            {"first_lba", entry.base},
            {"last_lba", entry.limit},
            {"reserved", lower_hex(entry.reserved)},
            {"measurement_type", named_code(measurement_type_name(entry.measurement_type), entry.measurement_type)},
            {"measurement_text", pmf_text(entry.measurement)},
            {"measurement", lower_hex(entry.measurement)},
            {"hash", lower_hex(entry.hash)}};
}

template <typename Extension>
report describe_table(const Extension& extension) {
    report out = {{"reserved", lower_hex(extension.reserved)},
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

struct seal_bit {
    std::uint16_t mask;
    const char* name;
};

constexpr seal_bit seal_bits[] = {
    {chassis_intrusion_bit, "chassis_intrusion"},
    {bios_lock_bit, "bios_lock"},
    {seal_signing_bit, "seal_signing"},
    {custom_opt_out_bit, "custom_opt_out"},
    {sed_lock_bit, "sed_lock"},
    {pmf_signing_bit, "pmf_signing"},
    {measurement_collection_boot_bit, "measurement_collection_boot"},
    {disk_measurement_bit, "disk_measurement"},
    {preboot_disk_measurement_bit, "preboot_disk_measurement"},
    {ironwall_bit, "ironwall"},
};

// "0x" and four digits.
std::string word_text(std::uint16_t word) {
    return hex_number(word).replace(2, 4, "");
}

// The word, each option by name, and what is left of the word.
report describe_seal_configuration(std::uint16_t word) {
    report out = {{"word", word_text(word)}};
    std::uint16_t rest = word;
    for (const seal_bit& bit : seal_bits) {
        out[bit.name] = (word & bit.mask) != 0;
        rest = static_cast<std::uint16_t>(rest & ~bit.mask);
    }
    out["reserved_bits"] = word_text(rest);
    return out;
}

report describe(const PMF::SystemInfoExtension& info) {
    return {{"product_name", pmf_text(info.product_name)},
            {"sku_number", pmf_text(info.sku_number)},
            {"build_number", info.build_number},
            {"os_build", version_text(info.os_build)},
            {"expire_date", date_text(info.expire_date)},
            {"seal_configuration", describe_seal_configuration(info.seal_configuration)},
            {"reserved", lower_hex(info.reserved)},
            {"bios_version", pmf_text(info.bios_version)},
            {"orbis_version", version_text(info.orbis_version)}};
}

template <typename Extension>
report describe_content(const pmf_extension& extension) {
    Extension decoded;
    return decode(extension.bytes, decoded) ? describe(decoded) : report();
}

report describe(const pmf_extension& extension) {
    report out = {{"type", named_code(extension_type_name(extension.type), extension.type)},
                  {"length", extension.length}};
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
        default: out["content"] = lower_hex(pmf_extension_content(extension)); break;
    }
    return out;
}

}  // namespace

void describe_fields(const PmfDocument& document, report& out) {
    out["header"] = describe(document.header);
    out["extensions"] = report::array();
    for (const pmf_extension& extension : document.extensions) {
        out["extensions"].push_back(describe(extension));
    }
    out["trailing_bytes"] = document.trailing_bytes;
}

}  // namespace vellum::lab
