// Where each field of a PMF stands, in bytes from the start of its structure, and the sizes of what has a fixed size,
// in bytes. The widths are those of the fields in pmf/format.h.
#pragma once

#include <cstddef>

namespace vellum {

inline constexpr std::size_t pmf_marker_size = 4;          // "PGMF"
inline constexpr std::size_t pmf_extension_head_size = 8;  // type and length
inline constexpr std::size_t pmf_dword_size = 4;           // sizes in the manifest header count dwords

namespace PMF {

namespace manifest_header_at {
inline constexpr std::size_t type = 0;
inline constexpr std::size_t header_size = 4;
inline constexpr std::size_t version = 8;
inline constexpr std::size_t flags = 12;
inline constexpr std::size_t unexamined1 = 16;  // 4 bytes
inline constexpr std::size_t expire_date = 20;
inline constexpr std::size_t size = 24;
inline constexpr std::size_t id = 28;
inline constexpr std::size_t internal_data = 32;
inline constexpr std::size_t unexamined2 = 36;  // 8 bytes
inline constexpr std::size_t security_version = 44;
inline constexpr std::size_t reserved1 = 48;
inline constexpr std::size_t reserved2 = 56;
inline constexpr std::size_t modulus_size = 120;
inline constexpr std::size_t exponent_size = 124;
inline constexpr std::size_t modulus = 128;
inline constexpr std::size_t exponent = 384;
inline constexpr std::size_t signature = 388;
}  // namespace manifest_header_at

namespace extension_at {
inline constexpr std::size_t type = 0;
inline constexpr std::size_t length = 4;
}  // namespace extension_at

namespace pcr_metadata_at {
inline constexpr std::size_t reserved = 8;
inline constexpr std::size_t algorithm = 12;
inline constexpr std::size_t count = 16;
inline constexpr std::size_t entry_size = 18;
inline constexpr std::size_t entries = 20;
}  // namespace pcr_metadata_at

inline constexpr std::size_t pcr_entry_size = 70;

namespace pcr_entry_at {
inline constexpr std::size_t reserved = 0;
inline constexpr std::size_t index = 4;
inline constexpr std::size_t value = 6;
}  // namespace pcr_entry_at

namespace key_manifest_at {
inline constexpr std::size_t manifest_type = 8;
inline constexpr std::size_t reserved = 12;
inline constexpr std::size_t algorithm = 28;
inline constexpr std::size_t count = 32;
inline constexpr std::size_t entry_size = 34;
inline constexpr std::size_t entries = 36;
}  // namespace key_manifest_at

inline constexpr std::size_t key_entry_size = 74;

namespace key_entry_at {
inline constexpr std::size_t id = 0;
inline constexpr std::size_t policy = 2;
inline constexpr std::size_t second_policy = 4;
inline constexpr std::size_t reserved = 6;
inline constexpr std::size_t hash = 10;
}  // namespace key_entry_at

namespace disk_metadata_at {
inline constexpr std::size_t reserved = 8;
inline constexpr std::size_t algorithm = 24;
inline constexpr std::size_t count = 28;
inline constexpr std::size_t entry_size = 30;
inline constexpr std::size_t entries = 32;
}  // namespace disk_metadata_at

inline constexpr std::size_t partition_entry_size = 272;

namespace partition_entry_at {
inline constexpr std::size_t guid = 0;
inline constexpr std::size_t name = 16;
inline constexpr std::size_t base = 88;
inline constexpr std::size_t limit = 96;
inline constexpr std::size_t reserved = 104;
inline constexpr std::size_t measurement_type = 128;
inline constexpr std::size_t measurement = 132;
inline constexpr std::size_t hash = 208;
}  // namespace partition_entry_at

inline constexpr std::size_t system_info_size = 218;

namespace system_info_at {
inline constexpr std::size_t product_name = 8;
inline constexpr std::size_t sku_number = 72;
inline constexpr std::size_t build_number = 136;
inline constexpr std::size_t os_build = 138;  // three parts of 2 bytes
inline constexpr std::size_t expire_date = 144;
inline constexpr std::size_t seal_configuration = 148;
inline constexpr std::size_t reserved = 150;
inline constexpr std::size_t bios_version = 170;
inline constexpr std::size_t orbis_version = 210;  // four parts of 2 bytes
}  // namespace system_info_at

}  // namespace PMF
}  // namespace vellum
