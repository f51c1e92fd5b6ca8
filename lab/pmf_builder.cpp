#include "lab/pmf_builder.h"

#include <openssl/rsa.h>

#include <algorithm>
#include <array>

#include "core/openssl.h"
#include "lab/byte_builder.h"
#include "lab/digest_of.h"

namespace vellum::lab {
namespace {

constexpr auto sha256_algorithm = static_cast<std::uint32_t>(PmfHashAlgorithm::sha256);

sha256_value digest_of_text(std::string_view text) {
    return digest_of(as_bytes(text));
}

void write(byte_builder& out, const PMF::ManifestHeader& header, std::uint32_t size) {
    out.u32_le(header.type).u32_le(header.header_size).u32_le(header.version);
    out.u32_le(header.flags).bytes(header.unexamined1).u32_le(header.expire_date).u32_le(size);
    out.u32_le(header.id).u32_le(header.internal_data).bytes(header.unexamined2);
    out.u32_le(header.security_version).bytes(header.reserved1).bytes(header.reserved2);
    out.u32_le(header.modulus_size).u32_le(header.exponent_size);
    out.bytes(header.modulus).bytes(header.exponent).bytes(header.signature);
}

void write(byte_builder& out, const PMF::PcrEntry& entry) {
    out.bytes(entry.reserved).u16_le(entry.index).bytes(entry.value);
}

void write(byte_builder& out, const PMF::KeyEntry& entry) {
    out.u16_le(entry.id).u16_le(entry.policy).u16_le(entry.second_policy).bytes(entry.reserved).bytes(entry.hash);
}

void write(byte_builder& out, const PMF::PartitionEntry& entry) {
    out.bytes(entry.guid).bytes(entry.name).u64_le(entry.base).u64_le(entry.limit).bytes(entry.reserved);
    out.u32_le(entry.measurement_type).bytes(entry.measurement).bytes(entry.hash);
}

void write_type_and_length(byte_builder& out, std::uint32_t type, std::size_t content_size,
                           std::optional<std::uint32_t> claimed) {
    out.u32_le(type).u32_le(claimed.value_or(static_cast<std::uint32_t>(pmf_extension_head_size + content_size)));
}

// The extension around a content that ends in the table.
template <typename Extension>
void write_table(byte_builder& out, const pmf_table<Extension>& table, byte_builder content) {
    content.u32_le(table.algorithm);
    content.u16_le(table.claimed_count.value_or(static_cast<std::uint16_t>(table.entries.size())));
    content.u16_le(table.entry_size);
    for (const auto& entry : table.entries) {
        write(content, entry);
    }
    write_type_and_length(out, table.type, content.size(), table.claimed_length);
    out.bytes(content.take());
}

void write(byte_builder& out, const pmf_plain_extension& extension) {
    write_type_and_length(out, extension.type, extension.content.size(), extension.claimed_length);
    out.bytes(extension.content);
}

void write(byte_builder& out, const pmf_table<PMF::SystemInfoExtension>& info) {
    byte_builder content;
    content.bytes(info.product_name).bytes(info.sku_number).u16_le(info.build_number);
    for (const std::uint16_t part : info.os_build) {
        content.u16_le(part);
    }
    content.u32_le(info.expire_date).u16_le(info.seal_configuration).bytes(info.reserved).bytes(info.bios_version);
    for (const std::uint16_t part : info.orbis_version) {
        content.u16_le(part);
    }
    write_type_and_length(out, info.type, content.size(), info.claimed_length);
    out.bytes(content.take());
}

void write_extension(byte_builder& out, const pmf& file, PmfExtensionType type) {
    switch (type) {
        case PmfExtensionType::certificate: write(out, file.certificate); break;
        case PmfExtensionType::body_header: write(out, file.body_header); break;
        case PmfExtensionType::system_info: write(out, file.system_info); break;
        case PmfExtensionType::disk_metadata:
            write_table(out, file.disk, byte_builder().bytes(file.disk.reserved));
            break;
        case PmfExtensionType::pcr_metadata:
            write_table(out, file.pcrs, byte_builder().bytes(file.pcrs.reserved));
            break;
        case PmfExtensionType::key_manifest:
            write_table(out, file.keys, byte_builder().u32_le(file.keys.manifest_type).bytes(file.keys.reserved));
            break;
    }
}

std::size_t zeros_to_dword(std::size_t size) {
    return (4 - size % 4) % 4;
}

std::vector<std::uint8_t> build_extensions(const pmf& file) {
    byte_builder out;
    for (const PmfExtensionType type : file.order) {
        write_extension(out, file, type);
    }
    for (const pmf_plain_extension& extension : file.others) {
        write(out, extension);
    }
    return out.take();
}

[[nodiscard]] bool copy_public_key(EVP_PKEY* key, PMF::ManifestHeader& header) {
    const RSA* rsa = EVP_PKEY_get0_RSA(key);
    if (rsa == nullptr) {
        return false;
    }
    const BIGNUM* modulus = RSA_get0_n(rsa);
    const BIGNUM* exponent = RSA_get0_e(rsa);
    return BN_bn2lebinpad(modulus, header.modulus.data(), static_cast<int>(header.modulus.size())) > 0 &&
           BN_bn2lebinpad(exponent, header.exponent.data(), static_cast<int>(header.exponent.size())) > 0;
}

std::vector<std::uint8_t> signed_data(const pmf& file) {
    const std::vector<std::uint8_t> bytes = build(file);
    const std::size_t extensions_at = file.marker.size() + pmf_header_size;
    const std::size_t extensions_size = build_extensions(file).size();
    const byte_view view = bytes;
    return byte_builder()
        .bytes(view.subspan(file.marker.size(), pmf_signed_header_size))
        .bytes(view.subspan(extensions_at, extensions_size))
        .fill(bytes.size() - extensions_at - extensions_size, 0xFF)
        .take();
}

template <typename Extension>
void begin_table(PmfExtensionType type, std::size_t entry_size, Extension& out) {
    out.type = static_cast<std::uint32_t>(type);
    out.algorithm = sha256_algorithm;
    out.entry_size = static_cast<std::uint16_t>(entry_size);
}

void fill(PMF::SystemInfoExtension& out) {
    out.type = static_cast<std::uint32_t>(PmfExtensionType::system_info);
    set_text(out.product_name, "Sample Product");
    set_text(out.sku_number, "SKU-1");
    out.build_number = 7;
    out.os_build = {10, 0, 19045};
    out.expire_date = 0x20991231;
    out.seal_configuration = 0x0108;
    set_text(out.bios_version, "BIOS.1.2.3");
    out.orbis_version = {16, 1, 25, 1865};
}

void fill(PMF::DiskMetadataFileExtension& out) {
    begin_table(PmfExtensionType::disk_metadata, pmf_size<PMF::PartitionEntry>, out);
    out.entries = {partition_entry("EFI system partition", 2048, 206847, "", {}),
                   partition_entry("Basic data partition", 206848, 1026047, "C:\\bom\\system.bom",
                                   digest_of_text("system.bom"))};
}

void fill(PMF::PCRMetadataFileExtension& out) {
    begin_table(PmfExtensionType::pcr_metadata, pmf_size<PMF::PcrEntry>, out);
    for (const std::uint16_t index : std::to_array<std::uint16_t>({0, 2, 3, 7})) {
        out.entries.push_back(pcr_entry(index, digest_of_text("PCR " + std::to_string(index))));
    }
}

void fill(PMF::KeyManifestExtension& out) {
    begin_table(PmfExtensionType::key_manifest, pmf_size<PMF::KeyEntry>, out);
    out.manifest_type = 3;
    out.entries = {key_entry(1, digest_of_text("key 1")), key_entry(2, digest_of_text("key 2"))};
}

}  // namespace

pmf::pmf()
    : order{PmfExtensionType::certificate,   PmfExtensionType::body_header,  PmfExtensionType::system_info,
            PmfExtensionType::disk_metadata, PmfExtensionType::pcr_metadata, PmfExtensionType::key_manifest} {
    header.type = 4;
    header.header_size = pmf_header_size / 4;
    header.version = 0x00010000;
    header.expire_date = 0x20991231;
    header.id = 0x324E4D24;
    header.internal_data = 0x464D4750;
    header.modulus_size = 64;
    header.exponent_size = 1;

    certificate.type = static_cast<std::uint32_t>(PmfExtensionType::certificate);
    body_header.type = static_cast<std::uint32_t>(PmfExtensionType::body_header);

    fill(system_info);
    fill(disk);
    fill(pcrs);
    fill(keys);
}

std::vector<std::uint8_t> build(const pmf& file) {
    const std::vector<std::uint8_t> extensions = build_extensions(file);
    const std::vector<std::uint8_t> trailing =
        file.trailing.value_or(std::vector<std::uint8_t>(zeros_to_dword(extensions.size())));
    const std::size_t size = pmf_header_size + extensions.size() + trailing.size();
    byte_builder out;
    out.text(file.marker);
    write(out, file.header, file.claimed_size.value_or(static_cast<std::uint32_t>(size / 4)));
    std::vector<std::uint8_t> bytes = out.bytes(extensions).bytes(trailing).take();
    for (const pmf_patch& patch : file.patches) {
        if (patch.offset <= bytes.size() && patch.bytes.size() <= bytes.size() - patch.offset) {
            std::copy(patch.bytes.begin(), patch.bytes.end(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(patch.offset));
        }
    }
    return bytes;
}

bool sign(pmf& file, EVP_PKEY* key) {
    if (!copy_public_key(key, file.header)) {
        return false;
    }
    const std::vector<std::uint8_t> data = signed_data(file);
    const digest_context context(EVP_MD_CTX_new());
    std::size_t size = file.header.signature.size();
    if (!context || EVP_PKEY_size(key) != static_cast<int>(size) ||
        EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key) != 1 ||
        EVP_DigestSign(context.get(), file.header.signature.data(), &size, data.data(), data.size()) != 1) {
        return false;
    }
    std::reverse(file.header.signature.begin(), file.header.signature.end());
    return true;
}

void set_text(std::span<std::uint8_t> field, std::string_view text) {
    std::fill(field.begin(), field.end(), std::uint8_t{0});
    std::copy_n(text.begin(), std::min(text.size(), field.size()), field.begin());
}

void set_utf16_text(std::span<std::uint8_t> field, std::string_view text) {
    std::fill(field.begin(), field.end(), std::uint8_t{0});
    for (std::size_t i = 0; i < std::min(text.size(), field.size() / 2); ++i) {
        field[2 * i] = static_cast<std::uint8_t>(text[i]);
    }
}

PMF::PcrEntry pcr_entry(std::uint16_t index, byte_view value) {
    PMF::PcrEntry entry;
    entry.index = index;
    std::copy_n(value.begin(), std::min(value.size(), entry.value.size()), entry.value.begin());
    return entry;
}

PMF::KeyEntry key_entry(std::uint16_t id, byte_view hash) {
    PMF::KeyEntry entry;
    entry.id = id;
    std::copy_n(hash.begin(), std::min(hash.size(), entry.hash.size()), entry.hash.begin());
    return entry;
}

PMF::PartitionEntry partition_entry(std::string_view name, std::uint64_t first_lba, std::uint64_t last_lba,
                                    std::string_view bom_location, byte_view bom_hash) {
    PMF::PartitionEntry entry;
    const sha256_value guid = digest_of_text(name);
    std::copy_n(guid.begin(), entry.guid.size(), entry.guid.begin());
    set_utf16_text(entry.name, name);
    entry.base = first_lba;
    entry.limit = last_lba;
    if (!bom_location.empty()) {
        entry.measurement_type = static_cast<std::uint32_t>(PmfMeasurementType::bom_provided);
        set_text(entry.measurement, bom_location);
        std::copy_n(bom_hash.begin(), std::min(bom_hash.size(), entry.hash.size()), entry.hash.begin());
    }
    return entry;
}

}  // namespace vellum::lab
