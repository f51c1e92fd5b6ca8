#include <utility>

#include "base/format.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/known_names.h"

namespace vellum {
namespace {

using json = nlohmann::ordered_json;

std::string hex_text(std::uint64_t value) {
    return formatted("0x%llx", as_ull(value));
}

json text_or_null(const char* text) {
    return text != nullptr ? json(text) : json();
}

json named_guid(const guid_value& guid, const char* name) {
    return {{"guid", guid_text(guid)}, {"name", text_or_null(name)}};
}

json certificate_json(const signature_entry& entry, const certificate_facts& certificate) {
    return {{"owner", named_guid(entry.owner, signature_owner_name(entry.owner))},
            {"subject", shown_text(certificate.subject)},
            {"issuer", shown_text(certificate.issuer)},
            {"serial", certificate.serial},
            {"not_before", certificate.not_before},
            {"not_after", certificate.not_after},
            {"sha256", certificate.sha256}};
}

// A list of certificates, or of hashes; what is no certificate in the former stands as bytes.
json list_json(const signature_list& list, hash_lists hashes) {
    const char* const type = signature_type_name(list.type);
    json out = {{"type", type[0] != '\0' ? std::string(type) : guid_text(list.type)}, {"entries", list.size()}};
    json certificates = json::array();
    json others = json::array();
    for (std::size_t i = 0; i < list.size(); ++i) {
        const signature_entry entry = list.at(i);
        if (const auto certificate = certificate_facts_of(entry.data)) {
            certificates.push_back(certificate_json(entry, *certificate));
        } else if (hashes == hash_lists::listed) {
            others.push_back(lower_hex(entry.data));
        }
    }
    if (!certificates.empty()) {
        out["certificates"] = std::move(certificates);
    }
    if (!others.empty()) {
        out["hashes"] = std::move(others);
    }
    return out;
}

json path_json(const device_path& path) {
    return path.text.empty() ? json() : json(shown_text(path.text));
}

// Adds what a variable's value is, under a key that says how to read it.
struct value_into {
    json& out;
    hash_lists hashes;

    void operator()(byte_view bytes) const { out["bytes"] = lower_hex(bytes); }
    void operator()(bool value) const { out["value"] = value; }
    void operator()(std::uint64_t value) const { out["value"] = value; }
    void operator()(const std::string& text) const { out["text"] = shown_text(text); }
    void operator()(const load_order& order) const {
        json& options = out["order"] = json::array();
        for (const std::uint16_t option : order.options) {
            options.push_back(formatted("%04X", unsigned{option}));
        }
    }
    void operator()(const load_option& option) const {
        out["attributes"] = hex_text(option.attributes);
        out["description"] = shown_text(option.description);
        out["device_path"] = path_json(option.path);
        out["optional_data"] = lower_hex(option.optional_data);
    }
    void operator()(const std::vector<signature_list>& lists) const {
        json& list = out["signature_lists"] = json::array();
        for (const signature_list& entry : lists) {
            list.push_back(list_json(entry, hashes));
        }
    }
    void operator()(const signature_entry& entry) const {
        const auto certificate = certificate_facts_of(entry.data);
        out["authority"] = certificate ? certificate_json(entry, *certificate)
                                       : json{{"owner", named_guid(entry.owner, signature_owner_name(entry.owner))},
                                              {"hash", lower_hex(entry.data)}};
    }
    void operator()(const seal_measurement_value& value) const {
        out["seal_configuration"] = lower_hex(value.configuration);
        out["seal_log_hash"] = lower_hex(value.seal_log_hash);
    }
    void operator()(const not_decoded& value) const { out["not_decoded"] = value.why; }
};

const char* meaning_name(text_meaning meaning) {
    switch (meaning) {
        case text_meaning::action: return "action";
        case text_meaning::firmware_version: return "firmware_version";
        case text_meaning::post_code: return "firmware_code";
        case text_meaning::hardware_root: return "root_of_trust";
        case text_meaning::configuration: return "platform_configuration";
        case text_meaning::microcode: return "microcode";
        case text_meaning::device_table: return "table_of_devices";
        case text_meaning::nonhost: return "platform_component";
        case text_meaning::compact_hash: return "vendor_value";
        case text_meaning::loader_command: return "loader_command";
        case text_meaning::kernel_command: return "kernel_command_line";
        case text_meaning::loader_file: return "loader_file";
        case text_meaning::loader_policy: return "boot_policy";
        case text_meaning::loader_text: return "loader_text";
    }
    return "text";
}

const char* source_name(image_source source) {
    switch (source) {
        case image_source::file: return "file";
        case image_source::firmware_volume: return "firmware";
        case image_source::option_rom: return "option_rom";
        case image_source::network: return "network";
        case image_source::unknown: break;
    }
    return "unknown";
}

const char* separator_name(separator_kind kind) {
    switch (kind) {
        case separator_kind::end_of_firmware: return "end_of_firmware";
        case separator_kind::firmware_error: return "firmware_error";
        case separator_kind::other: break;
    }
    return "other";
}

// The depth is bounded by the decoder.
json tagged_json(const tagged_value& value) {
    json out = {{"id", hex_text(value.id)}, {"name", value.name[0] != '\0' ? json(value.name) : json()}};
    if (!value.parts.empty()) {
        json& parts = out["parts"] = json::array();
        for (const tagged_value& part : value.parts) {
            parts.push_back(tagged_json(part));
        }
    } else if (const auto* bytes = std::get_if<byte_view>(&value.value)) {
        out["bytes"] = lower_hex(*bytes);
    } else if (const auto* flag = std::get_if<bool>(&value.value)) {
        out["value"] = *flag;
    } else if (const auto* number = std::get_if<std::uint64_t>(&value.value)) {
        out["value"] = *number;
    } else {
        out["text"] = shown_text(std::get<std::string>(value.value));
    }
    return out;
}

json partition_json(const gpt_entry_details& entry) {
    return {{"type", named_guid(entry.type, partition_type_name(entry.type))},
            {"unique_guid", guid_text(entry.unique)},
            {"first_lba", entry.first_lba},
            {"last_lba", entry.last_lba},
            {"attributes", hex_text(entry.attributes)},
            {"name", shown_text(entry.name)}};
}

struct fields_of {
    hash_lists hashes;

    json operator()(const not_decoded& details) const { return {{"why", details.why}}; }
    json operator()(const no_data&) const { return json::object(); }
    json operator()(const spec_id_details& details) const {
        json banks = json::array();
        for (const event_log_reader::algorithm& bank : details.algorithms) {
            banks.push_back({{"algorithm", hex_text(bank.id)},
                             {"name", text_or_null(bank_name(bank.id))},
                             {"digest_size", bank.digest_size}});
        }
        return {{"platform_class", details.platform_class},
                {"version", std::to_string(details.major) + '.' + std::to_string(details.minor)},
                {"errata", details.errata},
                {"uintn_size", details.uintn_size},
                {"banks", std::move(banks)},
                {"vendor_information", lower_hex(details.vendor_information)}};
    }
    json operator()(const startup_locality_details& details) const { return {{"locality", details.locality}}; }
    json operator()(const platform_identification_details& details) const {
        return {{"vendor", details.vendor},
                {"manifest", guid_text(details.manifest)},
                {"platform_manufacturer", shown_text(details.platform_manufacturer)},
                {"platform_model", shown_text(details.platform_model)},
                {"platform_version", shown_text(details.platform_version)},
                {"firmware_manufacturer", shown_text(details.firmware_manufacturer)},
                {"firmware_version", shown_text(details.firmware_version)}};
    }
    json operator()(const text_details& details) const {
        return {{"meaning", meaning_name(details.meaning)}, {"text", shown_text(details.text)}};
    }
    json operator()(const firmware_blob_details& details) const {
        return {{"description", shown_text(details.description)},
                {"base", hex_text(details.base)},
                {"length", details.length}};
    }
    json operator()(const handoff_tables_details& details) const {
        json tables = json::array();
        for (const handoff_table& table : details.tables) {
            json row = named_guid(table.vendor, configuration_table_name(table.vendor));
            row["address"] = hex_text(table.address);
            tables.push_back(std::move(row));
        }
        return {{"description", shown_text(details.description)}, {"tables", std::move(tables)}};
    }
    json operator()(const variable_details& details) const {
        json out = {{"name", shown_text(details.name)},
                    {"vendor", named_guid(details.vendor, variable_vendor_name(details.vendor))}};
        std::visit(value_into{out, hashes}, details.value);
        return out;
    }
    json operator()(const image_load_details& details) const {
        return {{"file", shown_text(details.path.file)},
                {"device_path", path_json(details.path)},
                {"source", source_name(details.source)},
                {"location", hex_text(details.location)},
                {"length", details.length},
                {"link_address", hex_text(details.link_address)}};
    }
    json operator()(const gpt_details& details) const {
        json partitions = json::array();
        for (const gpt_entry_details& entry : details.partitions) {
            partitions.push_back(partition_json(entry));
        }
        return {{"disk", guid_text(details.disk)},
                {"first_usable_lba", details.first_usable_lba},
                {"last_usable_lba", details.last_usable_lba},
                {"partitions", std::move(partitions)}};
    }
    json operator()(const separator_details& details) const {
        return {{"separator", separator_name(details.kind)}, {"bytes", lower_hex(details.value)}};
    }
    json operator()(const tagged_details& details) const {
        json values = json::array();
        for (const tagged_value& value : details.values) {
            values.push_back(tagged_json(value));
        }
        return {{"writer", details.writer}, {"values", std::move(values)}};
    }
    json operator()(const bytes_details& details) const {
        return {{"meaning", details.meaning}, {"bytes", lower_hex(details.bytes)}};
    }
};

// In the order of the variant.
constexpr const char* kinds[] = {
    "not_decoded",
    "no_data",
    "spec_id",
    "startup_locality",
    "platform_identification",
    "text",
    "firmware_blob",
    "handoff_tables",
    "variable",
    "image",
    "gpt",
    "separator",
    "tagged",
    "bytes",
};
static_assert(std::size(kinds) == std::variant_size_v<event_details>);

}  // namespace

nlohmann::ordered_json details_json(const event_details& details, hash_lists hashes) {
    json out = {{"kind", kind_name(details)}};
    out.update(std::visit(fields_of{hashes}, details));
    return out;
}

const char* kind_name(const event_details& details) {
    return kinds[details.index()];
}

}  // namespace vellum
