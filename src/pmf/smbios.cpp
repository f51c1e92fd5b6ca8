#include "pmf/smbios.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr std::uint8_t bios_type = 0;
constexpr std::uint8_t system_type = 1;
constexpr std::uint8_t orbis_type = 131;

// Every structure begins with its type (1 byte), the length of its formatted area (1) and its handle (2).
constexpr std::uint8_t structure_head_size = 4;

// String numbers (1 byte) in the formatted area.
constexpr std::size_t bios_version_offset = 5;
constexpr std::size_t product_name_offset = 5;
constexpr std::size_t serial_number_offset = 7;
constexpr std::size_t sku_number_offset = 25;

constexpr std::size_t uuid_offset = 8;  // 16 bytes

constexpr std::size_t orbis_flag_offset = 24;        // 1 byte
constexpr std::size_t orbis_version_offset = 28;     // four words, in the order second, first, fourth, third
constexpr std::size_t orbis_identifier_offset = 56;  // 4 bytes
constexpr std::string_view orbis_identifier = "Zeph";

struct structure {
    std::uint8_t type = 0;
    byte_view formatted;
    byte_view strings;  // from the end of the formatted area to the end of the table
};

// A forward cursor over the structures of a table.
class structure_reader {
  public:
    explicit structure_reader(byte_view table) : rest_(table) {}

    // False at the end of the table and at a structure that does not lie within it.
    [[nodiscard]] bool next(structure& out) {
        byte_reader reader(rest_);
        std::uint8_t length = 0;
        if (!reader.u8(out.type) || !reader.u8(length) || length < structure_head_size || rest_.size() < length) {
            return false;
        }
        out.formatted = rest_.first(length);
        out.strings = rest_.subspan(length);
        step_over_strings(out.strings);
        return true;
    }

  private:
    // Two zero bytes end a set of strings, also one without any; without them there is no next structure.
    void step_over_strings(byte_view strings) {
        constexpr std::array<std::uint8_t, 2> end_of_set{};
        const auto end = std::search(strings.begin(), strings.end(), end_of_set.begin(), end_of_set.end());
        rest_ = end == strings.end()
                    ? byte_view()
                    : strings.subspan(static_cast<std::size_t>(end - strings.begin()) + end_of_set.size());
    }

    byte_view rest_;
};

std::optional<structure> find_first(byte_view table, std::uint8_t type) {
    structure_reader reader(table);
    structure found;
    while (reader.next(found)) {
        if (found.type == type) {
            return found;
        }
    }
    return std::nullopt;
}

bool has_orbis_identifier(const structure& candidate) {
    byte_reader reader(candidate.formatted);
    return reader.skip(orbis_identifier_offset) && starts_with(reader.rest(), as_bytes(orbis_identifier));
}

std::optional<structure> find_orbis(byte_view table) {
    structure_reader reader(table);
    structure found;
    while (reader.next(found)) {
        if (found.type == orbis_type && has_orbis_identifier(found)) {
            return found;
        }
    }
    return std::nullopt;
}

// The text whose number stands at the offset. False for the number 0, for one that the set does not have, and for an
// offset beyond the formatted area, which older structures do not reach.
[[nodiscard]] bool read_string(const structure& from, std::size_t offset, std::string& out) {
    byte_reader reader(from.formatted);
    std::uint8_t number = 0;
    if (!reader.skip(offset) || !reader.u8(number) || number == 0) {
        return false;
    }
    byte_view rest = from.strings;
    while (true) {
        const auto end = std::find(rest.begin(), rest.end(), std::uint8_t{0});
        if (end == rest.end() || end == rest.begin()) {
            return false;
        }
        if (--number == 0) {
            out.assign(rest.begin(), end);
            return true;
        }
        rest = rest.subspan(static_cast<std::size_t>(end - rest.begin()) + 1);
    }
}

result structure_missing(std::string_view name, std::uint8_t type) {
    note("smbios-structure-missing"_id).field("name", name).field("value", type);
    return result::io_failure;
}

result text_missing(const char* name) {
    note("smbios-text-missing"_id).field("name", name);
    return result::io_failure;
}

result text_too_long(const char* name, const std::string& text, std::size_t limit) {
    note("smbios-text-too-long"_id)
        .field("name", name)
        .field("value", text)
        .field("size", text.size())
        .field("limit", limit);
    return result::io_failure;
}

result fill_bios(byte_view table, platform_smbios_info& out) {
    const auto bios = find_first(table, bios_type);
    if (!bios) {
        log_at(log_level::error, "Could not find first occurence of SMBIOS table of type 0.\n");
        return structure_missing("BIOS Information", bios_type);
    }
    if (!read_string(*bios, bios_version_offset, out.bios_version)) {
        log_at(log_level::error, "Could not fetch BIOS Version from SMBIOS table.\n");
        return text_missing("BIOS Version");
    }
    if (out.bios_version.size() > max_bios_version_length) {
        log_at(log_level::error, "SMBIOS property (BIOS Version) is longer than 40 characters.\n");
        return text_too_long("BIOS Version", out.bios_version, max_bios_version_length);
    }
    return result::success;
}

result check_system_lengths(const platform_smbios_info& info) {
    if (info.product_name.size() > max_product_name_length) {
        log_at(log_level::error, "SMBIOS property (Product Name) is longer than 64 characters.");
        return text_too_long("Product Name", info.product_name, max_product_name_length);
    }
    if (info.sku_number.size() > max_sku_number_length) {
        log_at(log_level::error, "SMBIOS property (SKU Number) is longer than 64 characters.");
        return text_too_long("SKU Number", info.sku_number, max_sku_number_length);
    }
    if (info.serial_number.size() > max_serial_number_length) {
        log_at(log_level::error, "SMBIOS property (Serial Number) is longer than 32 characters.");
        return text_too_long("Serial Number", info.serial_number, max_serial_number_length);
    }
    return result::success;
}

result fill_system(byte_view table, platform_smbios_info& out) {
    const auto system = find_first(table, system_type);
    if (!system) {
        log_at(log_level::error, "Could not find first occurence of SMBIOS table of type 1.");
        return structure_missing("System Information", system_type);
    }
    if (!read_string(*system, product_name_offset, out.product_name)) {
        log_at(log_level::error, "Could not fetch Product Name from SMBIOS table.");
        return text_missing("Product Name");
    }
    // A formatted area that reaches the SKU Number holds the UUID before it.
    byte_reader reader(system->formatted);
    if (!read_string(*system, sku_number_offset, out.sku_number) || !reader.skip(uuid_offset) ||
        !reader.copy(out.uuid)) {
        log_at(log_level::error, "Could not fetch SKU Number from SMBIOS table.");
        return text_missing("SKU Number");
    }
    if (!read_string(*system, serial_number_offset, out.serial_number)) {
        log_at(log_level::error, "Could not fetch Serial Number from SMBIOS table.");
        return text_missing("Serial Number");
    }
    return check_system_lengths(out);
}

result fill_orbis(byte_view table, platform_smbios_info& out) {
    const auto orbis = find_orbis(table);
    if (!orbis) {
        log_at(log_level::error, "Cound not find SMBIOS table of type 131 with 'Zeph' structure identifier.");
        return structure_missing(orbis_identifier, orbis_type);
    }
    byte_reader reader(orbis->formatted);
    std::uint8_t flag = 0;
    auto& [first, second, third, fourth] = out.orbis_version;
    const bool fits = reader.skip(orbis_flag_offset) && reader.u8(flag) &&
                      reader.skip(orbis_version_offset - orbis_flag_offset - sizeof(flag)) && reader.u16_le(second) &&
                      reader.u16_le(first) && reader.u16_le(fourth) && reader.u16_le(third);
    out.orbis_flag = flag != 0;
    if (!fits) {
        note("smbios-structure-cut"_id).field("value", orbis_type).field("size", orbis->formatted.size());
    }
    return fits ? result::success : result::io_failure;
}

// The structure table: as long as the head says, and no longer than what was delivered.
byte_view table_of(byte_view smbios) {
    byte_reader reader(smbios);
    std::uint32_t length = 0;
    if (!reader.skip(smbios_length_offset) || !reader.u32_le(length)) {
        return {};
    }
    return reader.rest().first(std::min<std::size_t>(length, reader.remaining()));
}

}  // namespace

result fill_smbios_info(byte_view smbios, platform_smbios_info& out) {
    out = {};
    const byte_view table = table_of(smbios);
    for (const auto fill : {fill_bios, fill_system, fill_orbis}) {
        RETURN_IF_FAILED(fill(table, out));
    }
    return result::success;
}

result read_smbios_info(firmware_tables& tables, platform_smbios_info& out) {
    std::vector<std::uint8_t> smbios;
    if (const os_status read = tables.read(smbios); !ok(read)) {
        note("smbios-not-read"_id).field("os_error", code_of(read));
        return result::io_failure;
    }
    if (smbios.size() > max_smbios_size) {
        log_at(log_level::error, "SMBIOS data are too large (%zu bytes). The limit is %u bytes.", smbios.size(),
               max_smbios_size);
        note("smbios-too-large"_id).field("size", smbios.size()).field("limit", max_smbios_size);
        return result::io_failure;
    }
    if (log_enabled(log_level::trace)) {
        log_at(log_level::trace, "[SMBIOS Info] SMBIOS bytes:\n");
        dump_at_level(log_level::trace, smbios);
    }
    return fill_smbios_info(smbios, out);
}

}  // namespace vellum
