// The Platform Measurements File (PMF): the signed reference document that was written for a device at sealing time.
//
// All integers are little-endian. A file is the marker "PGMF", a manifest header of 644 bytes, and extensions, each
// beginning with a 32-bit type and a 32-bit length in bytes that counts the whole extension. The structures below are
// decoded copies; nothing points into the file's buffer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"

namespace vellum {

enum class PmfExtensionType : std::uint32_t {
    certificate = 0x30,
    body_header = 0x31,
    system_info = 0x100,
    disk_metadata = 0x101,
    pcr_metadata = 0x102,
    key_manifest = 0x103,
};

enum class PmfHashAlgorithm : std::uint32_t { none = 0, sha256 = 2, sha384 = 3, sha512 = 4, sm3 = 5 };

enum class PmfMeasurementType : std::uint32_t { no_measurement = 0, bom_computed = 2, bom_provided = 3 };

// The texts that the program prints for a code; "Unknown Extension" and "UNDEFINED" for any other value.
const char* extension_type_name(std::uint32_t type);
const char* hash_algorithm_name(std::uint32_t algorithm);
const char* measurement_type_name(std::uint32_t type);

// A text field up to its first zero, as it may be shown.
std::string pmf_text(byte_view field);

// Bytes of a digest of the algorithm; fails with check_failed for a code that has none.
result pmf_digest_size(std::uint32_t algorithm, std::size_t& out);

// The room of a digest in every entry; the algorithm says how much of it counts.
inline constexpr std::size_t pmf_hash_field_size = 64;
using pmf_hash_field = std::array<std::uint8_t, pmf_hash_field_size>;

// The structures as they stand in the file. The fields() of each are those of its fixed part, each of its width and
// in the order of the file: where a field stands follows from it.
namespace PMF {

struct ManifestHeader {
    std::uint32_t type = 0;
    std::uint32_t header_size = 0;  // dwords
    std::uint32_t version = 0;
    std::uint32_t flags = 0;
    std::array<std::uint8_t, 4> unexamined1{};  // no rule looks at them; the signature covers them
    std::uint32_t expire_date = 0;              // BCD, 0xYYYYMMDD
    std::uint32_t size = 0;                     // dwords: header and extensions
    std::uint32_t id = 0;
    std::uint32_t internal_data = 0;
    std::array<std::uint8_t, 8> unexamined2{};
    std::uint32_t security_version = 0;
    std::array<std::uint8_t, 8> reserved1{};
    std::array<std::uint8_t, 64> reserved2{};
    std::uint32_t modulus_size = 0;             // dwords
    std::uint32_t exponent_size = 0;            // dwords
    std::array<std::uint8_t, 256> modulus{};    // least significant byte first
    std::array<std::uint8_t, 4> exponent{};     // least significant byte first
    std::array<std::uint8_t, 256> signature{};  // least significant byte first

    // Bit 31: the PMF is only pseudo-signed; clear: production-signed.
    bool pseudo_signed() const { return (flags & 0x80000000U) != 0; }

    static constexpr auto fields(auto& it) {
        return std::tie(it.type, it.header_size, it.version, it.flags, it.unexamined1, it.expire_date, it.size, it.id,
                        it.internal_data, it.unexamined2, it.security_version, it.reserved1, it.reserved2,
                        it.modulus_size, it.exponent_size, it.modulus, it.exponent, it.signature);
    }
};

struct PcrEntry {
    std::array<std::uint8_t, 4> reserved{};
    std::uint16_t index = 0;
    pmf_hash_field value{};

    static constexpr auto fields(auto& it) { return std::tie(it.reserved, it.index, it.value); }
};

struct PCRMetadataFileExtension {
    std::uint32_t type = 0;
    std::uint32_t length = 0;
    std::array<std::uint8_t, 4> reserved{};
    std::uint32_t algorithm = 0;
    std::uint16_t count = 0;  // as claimed; `entries` holds the ones that lie within the extension
    std::uint16_t entry_size = 0;
    std::vector<PcrEntry> entries;

    static constexpr auto fields(auto& it) {
        return std::tie(it.type, it.length, it.reserved, it.algorithm, it.count, it.entry_size);
    }
};

struct KeyEntry {
    std::uint16_t id = 0;
    std::uint16_t policy = 0;
    std::uint16_t second_policy = 0;
    std::array<std::uint8_t, 4> reserved{};
    pmf_hash_field hash{};

    static constexpr auto fields(auto& it) {
        return std::tie(it.id, it.policy, it.second_policy, it.reserved, it.hash);
    }
};

struct KeyManifestExtension {
    std::uint32_t type = 0;
    std::uint32_t length = 0;
    std::uint32_t manifest_type = 0;
    std::array<std::uint8_t, 16> reserved{};
    std::uint32_t algorithm = 0;
    std::uint16_t count = 0;
    std::uint16_t entry_size = 0;
    std::vector<KeyEntry> entries;

    static constexpr auto fields(auto& it) {
        return std::tie(it.type, it.length, it.manifest_type, it.reserved, it.algorithm, it.count, it.entry_size);
    }
};

struct PartitionEntry {
    std::array<std::uint8_t, 16> guid{};
    std::array<std::uint8_t, 72> name{};  // UTF-16LE
    std::uint64_t base = 0;               // first LBA
    std::uint64_t limit = 0;              // last LBA
    std::array<std::uint8_t, 24> reserved{};
    std::uint32_t measurement_type = 0;
    std::array<std::uint8_t, 76> measurement{};  // BOM_PROVIDED: the BOM file's location, zero-terminated ASCII
    pmf_hash_field hash{};

    static constexpr auto fields(auto& it) {
        return std::tie(it.guid, it.name, it.base, it.limit, it.reserved, it.measurement_type, it.measurement,
                        it.hash);
    }
};

struct DiskMetadataFileExtension {
    std::uint32_t type = 0;
    std::uint32_t length = 0;
    std::array<std::uint8_t, 16> reserved{};
    std::uint32_t algorithm = 0;
    std::uint16_t count = 0;
    std::uint16_t entry_size = 0;
    std::vector<PartitionEntry> entries;

    static constexpr auto fields(auto& it) {
        return std::tie(it.type, it.length, it.reserved, it.algorithm, it.count, it.entry_size);
    }
};

struct SystemInfoExtension {
    std::uint32_t type = 0;
    std::uint32_t length = 0;
    std::array<std::uint8_t, 64> product_name{};  // zero-terminated ASCII, like the two below
    std::array<std::uint8_t, 64> sku_number{};
    std::uint16_t build_number = 0;
    std::array<std::uint16_t, 3> os_build{};  // major, minor, build
    std::uint32_t expire_date = 0;            // BCD
    std::uint16_t seal_configuration = 0;     // SKY_PORT_CONFIGURATION
    std::array<std::uint8_t, 20> reserved{};
    std::array<std::uint8_t, 40> bios_version{};
    std::array<std::uint16_t, 4> orbis_version{};

    static constexpr auto fields(auto& it) {
        return std::tie(it.type, it.length, it.product_name, it.sku_number, it.build_number, it.os_build,
                        it.expire_date, it.seal_configuration, it.reserved, it.bios_version, it.orbis_version);
    }
};

}  // namespace PMF

template <typename Fields>
struct pmf_fields_size;
template <typename... Field>
struct pmf_fields_size<std::tuple<Field&...>> : std::integral_constant<std::size_t, (sizeof(Field) + ...)> {};

// Bytes of the fixed part of a structure.
template <typename Structure>
inline constexpr std::size_t pmf_size =
    pmf_fields_size<decltype(Structure::fields(std::declval<Structure&>()))>::value;

inline constexpr std::size_t pmf_marker_size = 4;  // "PGMF"
inline constexpr std::size_t pmf_header_size = pmf_size<PMF::ManifestHeader>;
// What is signed of the header: all before the modulus.
inline constexpr std::size_t pmf_signed_header_size = pmf_header_size - sizeof(PMF::ManifestHeader::modulus) -
                                                      sizeof(PMF::ManifestHeader::exponent) -
                                                      sizeof(PMF::ManifestHeader::signature);
inline constexpr std::size_t pmf_extension_head_size = 8;  // type and length
inline constexpr std::size_t pmf_dword_size = 4;           // sizes in the manifest header count dwords
inline constexpr std::size_t max_pmf_extensions = 10;

// The whole extension as it stands in the file, type and length included.
struct pmf_extension {
    std::uint32_t type = 0;
    std::uint32_t length = 0;  // its length word; that of a body header may be anything, for all others the size
    std::vector<std::uint8_t> bytes;
};

// A parsed PMF. Only parse_pmf() makes one, so it satisfies every required rule.
struct PmfDocument {
    std::array<std::uint8_t, pmf_header_size> header_bytes{};
    PMF::ManifestHeader header;             // decoded from header_bytes
    std::vector<pmf_extension> extensions;  // at most max_pmf_extensions, in file order
    std::uint8_t trailing_bytes = 0;        // 0 to 3
};

// Decoders. Each fills the structure from the bytes of one whole extension (or the header) and fails when the fixed
// part does not fit: the fields that fit are filled then. Of a table, the entries that lie within the bytes are
// filled, as many as are claimed.
[[nodiscard]] bool decode(byte_view bytes, PMF::ManifestHeader& out);
[[nodiscard]] bool decode(byte_view bytes, PMF::PCRMetadataFileExtension& out);
[[nodiscard]] bool decode(byte_view bytes, PMF::KeyManifestExtension& out);
[[nodiscard]] bool decode(byte_view bytes, PMF::DiskMetadataFileExtension& out);
[[nodiscard]] bool decode(byte_view bytes, PMF::SystemInfoExtension& out);

// What follows type and length.
byte_view pmf_extension_content(const pmf_extension& extension);

// The first extension of a type; it stays the document's. Fails with invalid, which is a finding, when there is none.
result find_pmf_extension(const PmfDocument& document, PmfExtensionType type, const pmf_extension*& out);

// Finds and decodes the extension. Results of find_pmf_extension; check_failed when it does not decode.
result get_pmf_extension(const PmfDocument& document, PMF::PCRMetadataFileExtension& out);
result get_pmf_extension(const PmfDocument& document, PMF::KeyManifestExtension& out);
result get_pmf_extension(const PmfDocument& document, PMF::DiskMetadataFileExtension& out);
result get_pmf_extension(const PmfDocument& document, PMF::SystemInfoExtension& out);

}  // namespace vellum
