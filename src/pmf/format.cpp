#include "pmf/format.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "pmf/layout.h"

namespace vellum {
namespace {

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

// Reads fields by their offset. A field that does not fit keeps its value, which complete() remembers.
class field_reader {
  public:
    explicit field_reader(byte_view bytes) : bytes_(bytes) {}

    field_reader& at(std::size_t offset, std::uint16_t& out) {
        return with(offset, [&out](byte_reader& reader) { return reader.u16_le(out); });
    }
    field_reader& at(std::size_t offset, std::uint32_t& out) {
        return with(offset, [&out](byte_reader& reader) { return reader.u32_le(out); });
    }
    field_reader& at(std::size_t offset, std::uint64_t& out) {
        return with(offset, [&out](byte_reader& reader) { return reader.u64_le(out); });
    }
    template <std::size_t Size>
    field_reader& at(std::size_t offset, std::array<std::uint8_t, Size>& out) {
        return with(offset, [&out](byte_reader& reader) { return reader.copy(out); });
    }
    template <std::size_t Count>
    field_reader& at(std::size_t offset, std::array<std::uint16_t, Count>& out) {
        return with(offset, [&out](byte_reader& reader) {
            return std::all_of(out.begin(), out.end(),
                               [&reader](std::uint16_t& part) { return reader.u16_le(part); });
        });
    }

    bool complete() const { return complete_; }

  private:
    template <typename Read>
    field_reader& with(std::size_t offset, Read read) {
        byte_reader reader(bytes_);
        complete_ = reader.skip(offset) && read(reader) && complete_;
        return *this;
    }

    byte_view bytes_;
    bool complete_ = true;
};

void read_entry(byte_view bytes, PMF::PcrEntry& out) {
    namespace at = PMF::pcr_entry_at;
    field_reader(bytes).at(at::reserved, out.reserved).at(at::index, out.index).at(at::value, out.value);
}

void read_entry(byte_view bytes, PMF::KeyEntry& out) {
    namespace at = PMF::key_entry_at;
    field_reader(bytes)
        .at(at::id, out.id)
        .at(at::policy, out.policy)
        .at(at::second_policy, out.second_policy)
        .at(at::reserved, out.reserved)
        .at(at::hash, out.hash);
}

void read_entry(byte_view bytes, PMF::PartitionEntry& out) {
    namespace at = PMF::partition_entry_at;
    field_reader(bytes)
        .at(at::guid, out.guid)
        .at(at::name, out.name)
        .at(at::base, out.base)
        .at(at::limit, out.limit)
        .at(at::reserved, out.reserved)
        .at(at::measurement_type, out.measurement_type)
        .at(at::measurement, out.measurement)
        .at(at::hash, out.hash);
}

template <typename Entry>
void read_entries(byte_view bytes, std::size_t offset, std::size_t entry_size, std::size_t count,
                  std::vector<Entry>& out) {
    out.clear();
    byte_reader reader(bytes);
    if (!reader.skip(offset)) {
        return;
    }
    out.resize(std::min(count, reader.remaining() / entry_size));
    for (Entry& entry : out) {
        byte_view part;
        if (reader.view(entry_size, part)) {
            read_entry(part, entry);
        }
    }
}

template <typename Extension>
result get_extension(const PmfDocument& document, PmfExtensionType type, Extension& out) {
    const pmf_extension* found = nullptr;
    const result lookup = find_pmf_extension(document, type, found);
    if (!ok(lookup)) {
        return lookup;
    }
    return decode(found->bytes, out) ? result::success : result::check_failed;
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
    namespace at = PMF::manifest_header_at;
    return field_reader(bytes)
        .at(at::type, out.type)
        .at(at::header_size, out.header_size)
        .at(at::version, out.version)
        .at(at::flags, out.flags)
        .at(at::unexamined1, out.unexamined1)
        .at(at::expire_date, out.expire_date)
        .at(at::size, out.size)
        .at(at::id, out.id)
        .at(at::internal_data, out.internal_data)
        .at(at::unexamined2, out.unexamined2)
        .at(at::security_version, out.security_version)
        .at(at::reserved1, out.reserved1)
        .at(at::reserved2, out.reserved2)
        .at(at::modulus_size, out.modulus_size)
        .at(at::exponent_size, out.exponent_size)
        .at(at::modulus, out.modulus)
        .at(at::exponent, out.exponent)
        .at(at::signature, out.signature)
        .complete();
}

bool decode(byte_view bytes, PMF::PCRMetadataFileExtension& out) {
    namespace at = PMF::pcr_metadata_at;
    const bool complete = field_reader(bytes)
                              .at(PMF::extension_at::type, out.type)
                              .at(PMF::extension_at::length, out.length)
                              .at(at::reserved, out.reserved)
                              .at(at::algorithm, out.algorithm)
                              .at(at::count, out.count)
                              .at(at::entry_size, out.entry_size)
                              .complete();
    read_entries(bytes, at::entries, PMF::pcr_entry_size, out.count, out.entries);
    return complete;
}

bool decode(byte_view bytes, PMF::KeyManifestExtension& out) {
    namespace at = PMF::key_manifest_at;
    const bool complete = field_reader(bytes)
                              .at(PMF::extension_at::type, out.type)
                              .at(PMF::extension_at::length, out.length)
                              .at(at::manifest_type, out.manifest_type)
                              .at(at::reserved, out.reserved)
                              .at(at::algorithm, out.algorithm)
                              .at(at::count, out.count)
                              .at(at::entry_size, out.entry_size)
                              .complete();
    read_entries(bytes, at::entries, PMF::key_entry_size, out.count, out.entries);
    return complete;
}

bool decode(byte_view bytes, PMF::DiskMetadataFileExtension& out) {
    namespace at = PMF::disk_metadata_at;
    const bool complete = field_reader(bytes)
                              .at(PMF::extension_at::type, out.type)
                              .at(PMF::extension_at::length, out.length)
                              .at(at::reserved, out.reserved)
                              .at(at::algorithm, out.algorithm)
                              .at(at::count, out.count)
                              .at(at::entry_size, out.entry_size)
                              .complete();
    read_entries(bytes, at::entries, PMF::partition_entry_size, out.count, out.entries);
    return complete;
}

bool decode(byte_view bytes, PMF::SystemInfoExtension& out) {
    namespace at = PMF::system_info_at;
    return field_reader(bytes)
        .at(PMF::extension_at::type, out.type)
        .at(PMF::extension_at::length, out.length)
        .at(at::product_name, out.product_name)
        .at(at::sku_number, out.sku_number)
        .at(at::build_number, out.build_number)
        .at(at::os_build, out.os_build)
        .at(at::expire_date, out.expire_date)
        .at(at::seal_configuration, out.seal_configuration)
        .at(at::reserved, out.reserved)
        .at(at::bios_version, out.bios_version)
        .at(at::orbis_version, out.orbis_version)
        .complete();
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
           extension_type_name(code), code);
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
