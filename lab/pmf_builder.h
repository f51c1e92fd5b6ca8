// Builds Platform Measurements Files: well-formed and within every rule by default, with a knob for every field so
// that any of them can lie.
//
// The fields are those of the decoded structures (pmf/format.h). Types stand as they are given; lengths and counts
// follow from the content unless they are claimed.
#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "pmf/format.h"

namespace vellum::lab {

template <typename Extension>
struct pmf_table : Extension {
    std::optional<std::uint32_t> claimed_length;
    std::optional<std::uint16_t> claimed_count;
};

struct pmf_plain_extension {
    std::uint32_t type = 0;
    std::vector<std::uint8_t> content;  // behind type and length
    std::optional<std::uint32_t> claimed_length;
};

// Bytes that replace what stands at an offset of the file.
struct pmf_patch {
    std::size_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

struct pmf {
    pmf();  // the known-good default, not signed

    std::string marker = "PGMF";
    PMF::ManifestHeader header;
    std::optional<std::uint32_t> claimed_size;  // dwords

    pmf_plain_extension certificate;  // content: a DER certificate, none by default
    pmf_plain_extension body_header;
    pmf_table<PMF::SystemInfoExtension> system_info;
    pmf_table<PMF::DiskMetadataFileExtension> disk;
    pmf_table<PMF::PCRMetadataFileExtension> pcrs;
    pmf_table<PMF::KeyManifestExtension> keys;

    // The extensions above in file order; one may be missing or repeated. Others follow them.
    std::vector<PmfExtensionType> order;
    std::vector<pmf_plain_extension> others;

    std::optional<std::vector<std::uint8_t>> trailing;  // absent: zeros up to a whole dword
    std::vector<pmf_patch> patches;                     // those that reach past the end are left out
};

std::vector<std::uint8_t> build(const pmf& file);

// Puts the public part of an RSA key of 2048 bits into the header, and the signature over what build() makes now:
// header up to the modulus, extensions, and 0xFF for each trailing byte. Whatever is changed later breaks the
// signature.
[[nodiscard]] bool sign(pmf& file, EVP_PKEY* key);

// Text for a fixed-size field, filled up with zeros; what is longer is cut.
void set_text(std::span<std::uint8_t> field, std::string_view text);
void set_utf16_text(std::span<std::uint8_t> field, std::string_view text);

PMF::PcrEntry pcr_entry(std::uint16_t index, byte_view value);
PMF::KeyEntry key_entry(std::uint16_t id, byte_view hash);

// Measured by the BOM file at the location; an empty location: not measured.
PMF::PartitionEntry partition_entry(std::string_view name, std::uint64_t first_lba, std::uint64_t last_lba,
                                    std::string_view bom_location, byte_view bom_hash);

}  // namespace vellum::lab
