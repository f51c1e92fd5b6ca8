#include "tpm/event_details/variable.h"

#include <algorithm>
#include <string_view>

#include "tpm/event_details/guid_literal.h"
#include "tpm/event_details/text_fields.h"
#include "tpm/pcr5_events.h"

namespace vellum {
namespace {

constexpr guid_value global_variable = guid_literal("8BE4DF61-93CA-11D2-AA0D-00E098032B8C");
constexpr guid_value image_security_database = guid_literal("D719B2CB-3D3A-4596-A3BC-DAD00E67656F");
constexpr guid_value shim_lock = guid_literal("605DAB50-E046-4300-ABB6-3DD810DD8B23");
constexpr guid_value seal_event = guid_literal("16A34A5A-F16A-454A-8F23-BAA58786BEAC");

variable_value boolean_value(byte_view data) {
    if (data.size() == 1 && data[0] <= 1) {
        return data[0] == 1;
    }
    return data;
}

variable_value number_value(byte_view data) {
    if (data.size() > sizeof(std::uint64_t) || data.empty()) {
        return data;
    }
    return number_le(data);
}

variable_value order_value(byte_view data) {
    if (data.size() % 2 != 0) {
        return not_decoded{"half a number stands at its end"};
    }
    constexpr std::size_t most_options = 0x10000;
    if (data.size() / 2 > most_options) {
        return not_decoded{"it lists more options than there are numbers"};
    }
    load_order order;
    byte_reader reader(data);
    std::uint16_t option = 0;
    while (reader.u16_le(option)) {
        order.options.push_back(option);
    }
    return order;
}

// What ends a UTF-16 text: its first zero unit.
[[nodiscard]] bool read_utf16(byte_reader& reader, std::string& out) {
    const byte_view text = reader.rest();
    std::uint16_t unit = 0;
    do {
        if (!reader.u16_le(unit)) {
            return false;
        }
    } while (unit != 0);
    out = utf8_of_utf16(text);
    return true;
}

// EFI_LOAD_OPTION: attributes, size of the path list, description, path list, optional data.
variable_value option_value(byte_view data) {
    byte_reader reader(data);
    load_option option;
    std::uint16_t path_size = 0;
    byte_view path;
    if (!(reader.u32_le(option.attributes) && reader.u16_le(path_size) && read_utf16(reader, option.description) &&
          reader.view(path_size, path))) {
        return not_decoded{"its description or device path reaches past the end"};
    }
    if (!path.empty() && !decode_device_path(path, option.path)) {
        return not_decoded{"its device path is damaged"};
    }
    option.optional_data = reader.rest();
    return option;
}

variable_value path_value(byte_view data) {
    device_path path;
    if (!decode_device_path(data, path)) {
        return not_decoded{"its device path is damaged"};
    }
    return path.text;
}

variable_value lists_value(byte_view data) {
    std::vector<signature_list> lists;
    if (!decode_signature_lists(data, lists)) {
        return not_decoded{"its signature lists reach past the end"};
    }
    return lists;
}

variable_value seal_value(byte_view data) {
    const byte_view seal_data = seal_data_of(data);
    if (seal_data.empty()) {
        return not_decoded{"it is too short for the data of a seal"};
    }
    return seal_measurement_value{seal_data.subspan(seal_configuration_offset, seal_configuration_size),
                                  seal_data.subspan(seal_log_hash_offset, seal_log_hash_size)};
}

variable_value any_value(byte_view data) {
    if (auto text = text_in(data); text && data.size() > 1) {
        return *text;
    }
    if (auto text = utf16_text_in(data)) {
        return *text;
    }
    return data;
}

struct known_variable {
    const guid_value& vendor;
    std::string_view name;  // "#" stands for a hexadecimal digit; empty: any name
    variable_value (*decode)(byte_view data);
};

constexpr known_variable known_variables[] = {
    {global_variable, "SecureBoot", boolean_value},
    {global_variable, "SetupMode", boolean_value},
    {global_variable, "AuditMode", boolean_value},
    {global_variable, "DeployedMode", boolean_value},
    {global_variable, "VendorKeys", boolean_value},
    {global_variable, "PK", lists_value},
    {global_variable, "KEK", lists_value},
    {global_variable, "BootOrder", order_value},
    {global_variable, "DriverOrder", order_value},
    {global_variable, "SysPrepOrder", order_value},
    {global_variable, "BootNext", number_value},
    {global_variable, "BootCurrent", number_value},
    {global_variable, "Timeout", number_value},
    {global_variable, "OsIndications", number_value},
    {global_variable, "OsIndicationsSupported", number_value},
    {global_variable, "BootOptionSupport", number_value},
    {global_variable, "ConIn", path_value},
    {global_variable, "ConOut", path_value},
    {global_variable, "ErrOut", path_value},
    {global_variable, "Boot####", option_value},
    {global_variable, "Driver####", option_value},
    {global_variable, "SysPrep####", option_value},
    {global_variable, "OsRecovery####", option_value},
    {global_variable, "PlatformRecovery####", option_value},
    {image_security_database, "db", lists_value},
    {image_security_database, "dbx", lists_value},
    {image_security_database, "dbt", lists_value},
    {image_security_database, "dbr", lists_value},
    {shim_lock, "MokList", lists_value},
    {shim_lock, "MokListX", lists_value},
    {shim_lock, "MokListRT", lists_value},
    {shim_lock, "MokListXRT", lists_value},
    {shim_lock, "MokListTrusted", boolean_value},
    {shim_lock, "MokListTrustedRT", boolean_value},
    {shim_lock, "MokSBState", boolean_value},
    {shim_lock, "MokDBState", boolean_value},
    {seal_event, "", seal_value},
};

bool is_digit_of_option(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool matches(std::string_view pattern, std::string_view name) {
    return std::equal(pattern.begin(), pattern.end(), name.begin(), name.end(),
                      [](char p, char c) { return p == '#' ? is_digit_of_option(c) : p == c; });
}

variable_value value_of(const variable_details& variable) {
    for (const known_variable& row : known_variables) {
        if (row.vendor == variable.vendor && (row.name.empty() || matches(row.name, variable.name))) {
            return row.decode(variable.data);
        }
    }
    return any_value(variable.data);
}

// UEFI_VARIABLE_DATA: vendor, length of the name in units, size of the data in bytes, name, data. Null: it was read.
const char* read_variable(byte_view data, variable_details& out) {
    byte_reader reader(data);
    std::uint64_t name_units = 0;
    std::uint64_t data_size = 0;
    byte_view name;
    if (!(reader.copy(out.vendor) && reader.u64_le(name_units) && reader.u64_le(data_size))) {
        return "it is shorter than the head of a variable";
    }
    if (name_units > reader.remaining() / 2 || !reader.view(2 * name_units, name)) {
        return "its name reaches past the end";
    }
    if (!reader.view(data_size, out.data)) {
        return "its value reaches past the end";
    }
    out.name = utf8_of_utf16(name);
    return nullptr;
}

// The first bytes of a DER sequence that takes more than 255 bytes, as a certificate does.
bool begins_like_a_certificate(byte_view data) {
    return data.size() > 4 && data[0] == 0x30 && data[1] == 0x82;
}

// Boot loaders log certificates without an owner, and texts, under this type.
variable_value authority_value(byte_view data) {
    signature_entry entry;
    if (begins_like_a_certificate(data)) {
        entry.data = data;
        return entry;
    }
    if (auto text = text_in(data)) {
        return *text;
    }
    constexpr std::size_t sha256_entry_size = guid_size + 32;
    const bool fits = decode_signature_entry(data, entry) &&
                      (begins_like_a_certificate(entry.data) || data.size() == sha256_entry_size);
    if (fits) {
        return entry;
    }
    return boolean_value(data);
}

}  // namespace

event_details decode_variable(byte_view data) {
    variable_details out;
    if (const char* why = read_variable(data, out)) {
        return not_decoded{why};
    }
    out.value = value_of(out);
    return out;
}

event_details decode_authority(byte_view data) {
    variable_details out;
    if (const char* why = read_variable(data, out)) {
        return not_decoded{why};
    }
    out.value = authority_value(out.data);
    return out;
}

}  // namespace vellum
