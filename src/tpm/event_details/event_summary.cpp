#include <algorithm>
#include <string_view>

#include "base/format.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/known_names.h"
#include "tpm/event_details/text_fields.h"

namespace vellum {
namespace {

constexpr std::size_t shown_bytes = 16;
constexpr std::size_t shown_names = 6;  // of a list

struct type_name {
    std::uint32_t type;
    const char* name;
};

// What later versions of the profile added.
constexpr type_name later_types[] = {
    {0x00000013, "EV_POST_CODE2"},
    {0x8000000A, "EV_EFI_PLATFORM_FIRMWARE_BLOB2"},
    {0x8000000B, "EV_EFI_HANDOFF_TABLES2"},
    {0x8000000C, "EV_EFI_VARIABLE_BOOT2"},
    {0x8000000D, "EV_EFI_GPT_EVENT2"},
    {0x800000E1, "EV_EFI_SPDM_FIRMWARE_BLOB"},
    {0x800000E2, "EV_EFI_SPDM_FIRMWARE_CONFIG"},
    {0x800000E3, "EV_EFI_SPDM_DEVICE_POLICY"},
    {0x800000E4, "EV_EFI_SPDM_DEVICE_AUTHORITY"},
};

std::string number_text(std::uint64_t value) {
    return formatted("0x%llx", as_ull(value));
}

std::string size_text(std::uint64_t bytes) {
    constexpr std::uint64_t kib = 1024;
    return bytes >= 10 * kib ? std::to_string(bytes / kib) + " KiB" : counted(bytes, "byte");
}

std::string bytes_text(byte_view bytes) {
    const std::string digits = lower_hex(bytes.first(std::min(bytes.size(), shown_bytes)));
    return bytes.empty() ? "no bytes"
                         : counted(bytes.size(), "byte") + " " + digits + (bytes.size() > shown_bytes ? "..." : "");
}

std::string quoted(const std::string& text) {
    return '\'' + text + '\'';
}

// Names joined by commas, the first ones when there are many.
template <typename List, typename NameOf>
std::string joined(const List& list, NameOf name_of) {
    std::string out;
    std::size_t count = 0;
    for (const auto& item : list) {
        if (count == shown_names && list.size() > shown_names + 1) {
            return out + " and " + std::to_string(list.size() - shown_names) + " more";
        }
        out += (count++ == 0 ? "" : ", ") + name_of(item);
    }
    return out;
}

std::string name_or_guid(const char* name, const guid_value& guid) {
    return name != nullptr ? std::string(name) : guid_text(guid);
}

std::string entry_text(const signature_entry& entry) {
    if (const auto certificate = certificate_facts_of(entry.data)) {
        return "certificate " + quoted(short_name(*certificate));
    }
    constexpr std::size_t longest_hash = 64;
    return entry.data.size() > longest_hash ? bytes_text(entry.data) : "hash " + lower_hex(entry.data);
}

// "2 certificates ('...', '...'), 77 hashes".
std::string lists_text(const std::vector<signature_list>& lists) {
    std::vector<std::string> certificates;
    std::size_t others = 0;
    for (const signature_list& list : lists) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            const auto certificate = certificate_facts_of(list.at(i).data);
            if (certificate) {
                certificates.push_back(quoted(short_name(*certificate)));
            } else {
                ++others;
            }
        }
    }
    std::string out;
    if (!certificates.empty()) {
        out = counted(certificates.size(), "certificate") + " (" +
              joined(certificates, [](const std::string& name) { return name; }) + ")";
    }
    if (others > 0) {
        out += (out.empty() ? "" : ", ") + (others == 1 ? "1 hash" : std::to_string(others) + " hashes");
    }
    return out.empty() ? "empty" : out;
}

struct value_text {
    std::string operator()(byte_view bytes) const { return ": " + bytes_text(bytes); }
    std::string operator()(bool value) const { return value ? ": on" : ": off"; }
    std::string operator()(std::uint64_t value) const { return ": " + std::to_string(value); }
    std::string operator()(const std::string& text) const { return ": " + text; }
    std::string operator()(const load_order& order) const {
        return ": " + (order.options.empty() ? "empty" : joined(order.options, [](std::uint16_t option) {
                   return formatted("%04X", unsigned{option});
               }));
    }
    std::string operator()(const load_option& option) const {
        return " " + quoted(option.description) + (option.path.text.empty() ? "" : ": " + option.path.text);
    }
    std::string operator()(const std::vector<signature_list>& lists) const { return ": " + lists_text(lists); }
    std::string operator()(const signature_entry& entry) const { return ": " + entry_text(entry); }
    std::string operator()(const seal_measurement_value& value) const {
        return ": seal configuration " + lower_hex(value.configuration) + ", seal log " +
               lower_hex(value.seal_log_hash.first(shown_bytes)) + "...";
    }
    std::string operator()(const not_decoded& value) const { return std::string(": not decoded: ") + value.why; }
};

const char* image_word(std::uint32_t type) {
    switch (type) {
        case 0x80000004: return "driver ";
        case 0x80000005: return "runtime driver ";
        default: return "boot application ";
    }
}

const char* source_text(image_source source) {
    switch (source) {
        case image_source::firmware_volume: return " from the firmware";
        case image_source::option_rom: return " from an option ROM";
        case image_source::network: return " over the network";
        default: return "";
    }
}

const char* text_label(text_meaning meaning) {
    switch (meaning) {
        case text_meaning::action: return "";
        case text_meaning::firmware_version: return "firmware version ";
        case text_meaning::post_code: return "firmware code: ";
        case text_meaning::hardware_root: return "root of trust: ";
        case text_meaning::configuration: return "platform configuration: ";
        case text_meaning::microcode: return "microcode: ";
        case text_meaning::device_table: return "table of devices: ";
        case text_meaning::nonhost: return "platform component: ";
        case text_meaning::compact_hash: return "vendor's value: ";
        case text_meaning::loader_command: return "boot loader runs: ";
        case text_meaning::kernel_command: return "kernel command line: ";
        case text_meaning::loader_file: return "boot loader reads ";
        case text_meaning::loader_policy: return "boot policy ";
        case text_meaning::loader_text: return "boot loader: ";
    }
    return "";
}

// Of a container its parts are named, not itself.
void append_tagged(const tagged_value& value, std::vector<std::string>& names) {
    if (!value.parts.empty()) {
        for (const tagged_value& part : value.parts) {
            append_tagged(part, names);
        }
        return;
    }
    std::string name = value.name[0] != '\0' ? value.name : number_text(value.id);
    if (const auto* flag = std::get_if<bool>(&value.value)) {
        name += *flag ? " yes" : " no";
    } else if (const auto* number = std::get_if<std::uint64_t>(&value.value)) {
        name += ' ' + std::to_string(*number);
    } else if (const auto* text = std::get_if<std::string>(&value.value); text != nullptr && *text != name) {
        name += ' ' + *text;
    }
    names.push_back(std::move(name));
}

struct summary {
    const logged_event& event;

    std::string operator()(const not_decoded& details) const {
        return std::string("not decoded: ") + details.why + "; " + bytes_text(event.data);
    }
    std::string operator()(const no_data&) const { return "no data"; }
    std::string operator()(const spec_id_details& details) const {
        return "log of profile " + std::to_string(details.major) + '.' + std::to_string(details.minor) + " errata " +
               std::to_string(details.errata) + ", banks " +
               joined(details.algorithms, [](const event_log_reader::algorithm& bank) {
                   const char* const name = bank_name(bank.id);
                   return name != nullptr ? std::string(name) : number_text(bank.id);
               });
    }
    std::string operator()(const startup_locality_details& details) const {
        return "the TPM was started at locality " + std::to_string(details.locality);
    }
    std::string operator()(const platform_identification_details& details) const {
        std::string out = "reference manifest " + guid_text(details.manifest);
        for (const std::string* text : {&details.platform_manufacturer, &details.platform_model,
                                        &details.platform_version, &details.firmware_version}) {
            out += text->empty() ? "" : ", " + *text;
        }
        return out;
    }
    std::string operator()(const text_details& details) const {
        return text_label(details.meaning) + (details.text.empty() ? "empty" : details.text);
    }
    std::string operator()(const firmware_blob_details& details) const {
        return "firmware " + (details.description.empty() ? "" : quoted(details.description) + ' ') + "at " +
               number_text(details.base) + ", " + size_text(details.length);
    }
    std::string operator()(const handoff_tables_details& details) const {
        const auto name = [](const handoff_table& table) {
            return name_or_guid(configuration_table_name(table.vendor), table.vendor) + " at " +
                   number_text(table.address);
        };
        return (details.description.empty() ? "" : quoted(details.description) + ": ") +
               (details.tables.empty() ? "no tables" : "table " + joined(details.tables, name));
    }
    std::string operator()(const variable_details& details) const {
        const bool authority = event.type == 0x800000E0;
        return (authority ? "accepted by " : "") + (details.name.empty() ? "''" : details.name) +
               std::visit(value_text(), details.value);
    }
    std::string operator()(const image_load_details& details) const {
        const std::string& name = details.path.file.empty() ? details.path.text : details.path.file;
        return image_word(event.type) + (name.empty() ? "without a path" : name) + source_text(details.source) +
               ", " + size_text(details.length);
    }
    std::string operator()(const gpt_details& details) const {
        const auto name = [](const gpt_entry_details& entry) {
            return entry.name.empty() ? name_or_guid(partition_type_name(entry.type), entry.type)
                                      : quoted(entry.name);
        };
        return "disk " + guid_text(details.disk) + ", " + counted(details.partitions.size(), "partition") +
               (details.partitions.empty() ? "" : ": " + joined(details.partitions, name));
    }
    std::string operator()(const separator_details& details) const {
        switch (details.kind) {
            case separator_kind::end_of_firmware: return "end of the firmware's events";
            case separator_kind::firmware_error: return "the firmware failed";
            case separator_kind::other: break;
        }
        const auto text = text_in(details.value);
        return text ? "separator " + quoted(*text) : "separator of no known value, " + bytes_text(details.value);
    }
    std::string operator()(const tagged_details& details) const {
        std::vector<std::string> names;
        for (const tagged_value& value : details.values) {
            append_tagged(value, names);
        }
        return (details.writer[0] == '\0' ? "" : std::string(details.writer) + ": ") +
               joined(names, [](const std::string& name) { return name; });
    }
    std::string operator()(const bytes_details& details) const {
        return std::string(details.meaning) + ", " + bytes_text(details.bytes);
    }
};

}  // namespace

std::string summary_of(const logged_event& event, const event_details& details) {
    return shown_text(std::visit(summary{event}, details));
}

const char* event_type_name(std::uint32_t type) {
    const auto* row = std::find_if(std::begin(later_types), std::end(later_types),
                                   [type](const type_name& entry) { return entry.type == type; });
    return row != std::end(later_types) ? row->name : tpm_event_type_name(type);
}

}  // namespace vellum
