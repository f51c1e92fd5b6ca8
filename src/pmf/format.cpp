#include "pmf/format.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

static_assert(pmf_header_size == 644 && pmf_signed_header_size == 128);
static_assert(pmf_size<PMF::PCRMetadataFileExtension> == 20 && pmf_size<PMF::PcrEntry> == 70);
static_assert(pmf_size<PMF::KeyManifestExtension> == 36 && pmf_size<PMF::KeyEntry> == 74);
static_assert(pmf_size<PMF::DiskMetadataFileExtension> == 32 && pmf_size<PMF::PartitionEntry> == 272);
static_assert(pmf_size<PMF::SystemInfoExtension> == 218);

struct code_name {
    std::uint32_t code;
    const char* name;
};

constexpr code_name extension_types[] = {
    {static_cast<std::uint32_t>(PmfExtensionType::certificate), "PMF::CertificateExtension"},
    {static_cast<std::uint32_t>(PmfExtensionType::body_header), "PMF::BodyHeaderExtension"},
    {static_cast<std::uint32_t>(PmfExtensionType::system_info), "PMF::SystemInfoExtension"},
    {static_cast<std::uint32_t>(PmfExtensionType::disk_metadata), "PMF::DiskMetadataFileExtension"},
    {static_cast<std::uint32_t>(PmfExtensionType::pcr_metadata), "PMF::PCRMetadataFileExtension"},
    {static_cast<std::uint32_t>(PmfExtensionType::key_manifest), "PMF::KeyManifestExtension"},
};

struct hash_algorithm_row {
    std::uint32_t code;
    const char* name;
    std::size_t digest_size;  // bytes; 0: none
};

constexpr hash_algorithm_row hash_algorithms[] = {
    {static_cast<std::uint32_t>(PmfHashAlgorithm::none), "NONE", 0},
    {static_cast<std::uint32_t>(PmfHashAlgorithm::sha256), "SHA256", 32},
    {static_cast<std::uint32_t>(PmfHashAlgorithm::sha384), "SHA384", 48},
    {static_cast<std::uint32_t>(PmfHashAlgorithm::sha512), "SHA512", 64},
    {static_cast<std::uint32_t>(PmfHashAlgorithm::sm3), "SM3", 32},
};

constexpr code_name measurement_types[] = {
    {static_cast<std::uint32_t>(PmfMeasurementType::no_measurement), "NO_MEASUREMENT"},
    {static_cast<std::uint32_t>(PmfMeasurementType::bom_computed), "BOM_COMPUTED"},
    {static_cast<std::uint32_t>(PmfMeasurementType::bom_provided), "BOM_PROVIDED"},
};

template <typename Row, std::size_t Count>
const Row* find_code(const Row (&rows)[Count], std::uint32_t code) {
    const Row* end = std::end(rows);
    const Row* found = std::find_if(std::begin(rows), end, [code](const Row& row) { return row.code == code; });
    return found == end ? nullptr : found;
}

template <typename Row, std::size_t Count>
const char* find_name(const Row (&rows)[Count], std::uint32_t code, const char* otherwise) {
    const Row* row = find_code(rows, code);
    return row == nullptr ? otherwise : row->name;
}

[[nodiscard]] bool read(byte_reader& from, std::uint16_t& out) {
    return from.u16_le(out);
}

[[nodiscard]] bool read(byte_reader& from, std::uint32_t& out) {
    return from.u32_le(out);
}

[[nodiscard]] bool read(byte_reader& from, std::uint64_t& out) {
    return from.u64_le(out);
}

template <std::size_t Size>
[[nodiscard]] bool read(byte_reader& from, std::array<std::uint8_t, Size>& out) {
    return from.copy(out);
}

template <std::size_t Count>
[[nodiscard]] bool read(byte_reader& from, std::array<std::uint16_t, Count>& out) {
    return std::all_of(out.begin(), out.end(), [&from](std::uint16_t& part) { return from.u16_le(part); });
}

// The fields up to the first that does not fit.
template <typename Structure>
[[nodiscard]] bool read_fields(byte_reader& from, Structure& out) {
    return std::apply([&from](auto&... field) { return (read(from, field) && ...); }, Structure::fields(out));
}

template <typename Extension>
[[nodiscard]] bool read_table(byte_view bytes, Extension& out) {
    byte_reader reader(bytes);
    out.entries.clear();
    if (!read_fields(reader, out)) {
        return false;
    }
    using entry = typename decltype(out.entries)::value_type;
    out.entries.resize(std::min<std::size_t>(out.count, reader.remaining() / pmf_size<entry>));
    return std::all_of(out.entries.begin(), out.entries.end(),
                       [&reader](entry& it) { return read_fields(reader, it); });
}

result undecodable(const pmf_extension& extension) {
    note("pmf-extension-undecodable"_id)
        .field("name", extension_type_name(extension.type))
        .field("size", extension.bytes.size());
    return result::check_failed;
}

template <typename Extension>
result get_extension(const PmfDocument& document, PmfExtensionType type, Extension& out) {
    const pmf_extension* found = nullptr;
    RETURN_IF_FAILED(find_pmf_extension(document, type, found));
    return decode(found->bytes, out) ? result::success : undecodable(*found);
}

}  // namespace

const char* extension_type_name(std::uint32_t type) {
    return find_name(extension_types, type, "Unknown Extension");
}

const char* hash_algorithm_name(std::uint32_t algorithm) {
    return find_name(hash_algorithms, algorithm, "UNDEFINED");
}

const char* measurement_type_name(std::uint32_t type) {
    return find_name(measurement_types, type, "UNDEFINED");
}

std::string pmf_text(byte_view field) {
    return shown_text(field_text(field));
}

result pmf_digest_size(std::uint32_t algorithm, std::size_t& out) {
    const hash_algorithm_row* row = find_code(hash_algorithms, algorithm);
    if (row == nullptr || row->digest_size == 0) {
        return result::check_failed;
    }
    out = row->digest_size;
    return result::success;
}

bool decode(byte_view bytes, PMF::ManifestHeader& out) {
    byte_reader reader(bytes);
    return read_fields(reader, out);
}

bool decode(byte_view bytes, PMF::PCRMetadataFileExtension& out) {
    return read_table(bytes, out);
}

bool decode(byte_view bytes, PMF::KeyManifestExtension& out) {
    return read_table(bytes, out);
}

bool decode(byte_view bytes, PMF::DiskMetadataFileExtension& out) {
    return read_table(bytes, out);
}

bool decode(byte_view bytes, PMF::SystemInfoExtension& out) {
    byte_reader reader(bytes);
    return read_fields(reader, out);
}

byte_view pmf_extension_content(const pmf_extension& extension) {
    return byte_view(extension.bytes).subspan(std::min(pmf_extension_head_size, extension.bytes.size()));
}

result find_pmf_extension(const PmfDocument& document, PmfExtensionType type, const pmf_extension*& out) {
    const auto code = static_cast<std::uint32_t>(type);
    for (std::size_t slot = 0; slot < document.extensions.size(); ++slot) {
        const pmf_extension& extension = document.extensions[slot];
        if (extension.bytes.empty()) {
            log_at(log_level::warning, "PMF extension %u is corrupted.\n", static_cast<unsigned>(slot));
        } else if (extension.type == code) {
            out = &extension;
            return result::success;
        }
    }
    report("pmf-extension-missing"_id, "PMF Extension of type %s(0x%04x) was not found in PMF.",
           extension_type_name(code), code)
        .field("name", extension_type_name(code))
        .field("value", code);
    return result::invalid;
}

result get_pmf_extension(const PmfDocument& document, PMF::PCRMetadataFileExtension& out) {
    return get_extension(document, PmfExtensionType::pcr_metadata, out);
}

result get_pmf_extension(const PmfDocument& document, PMF::KeyManifestExtension& out) {
    return get_extension(document, PmfExtensionType::key_manifest, out);
}

result get_pmf_extension(const PmfDocument& document, PMF::DiskMetadataFileExtension& out) {
    return get_extension(document, PmfExtensionType::disk_metadata, out);
}

result get_pmf_extension(const PmfDocument& document, PMF::SystemInfoExtension& out) {
    return get_extension(document, PmfExtensionType::system_info, out);
}

}  // namespace vellum
