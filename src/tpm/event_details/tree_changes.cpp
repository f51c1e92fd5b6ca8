#include "tpm/event_details/tree_changes.h"

#include <string_view>

#include "tpm/event_details/tree_finder.h"
#include "tpm/event_details/value_changes.h"

namespace vellum {
namespace {

using json = field_tree;

// Lists of scalars whose order counts.
std::string joined(const json& list) {
    std::string out;
    for (const json& item : list) {
        out += (out.empty() ? "" : ",") + value_text(item);
    }
    return out.empty() ? "nothing" : out;
}

void compare_order(const field_pair& field, const finder& out) {
    out.add_about(field.key, field.reference, field.live, joined(field.reference) + " -> " + joined(field.live));
}

void compare_fields(const json& reference, const json& live, const finder& out);

// What tells the entries of a list apart, and how one is shown: by name, and with what it says.
struct keyed_list {
    std::string_view field;
    const char* key;
    std::string (*name)(const json& value, std::size_t number);
    std::string (*shown)(const json& value);
};

std::string sectors(const json& partition) {
    return partition["first_lba"].dump() + "-" + partition["last_lba"].dump();
}

std::string partition_name(const json& partition, std::size_t number) {
    const std::string name = partition["name"].get<std::string>();
    return "partition " + std::to_string(number) + " '" + (name.empty() ? named(partition["type"]) : name) + "'";
}

std::string partition_place(const json& partition) {
    return " at " + sectors(partition);
}

std::string table_name(const json& table, std::size_t) {
    return "table " + named(table);
}

std::string table_place(const json& table) {
    return " at " + value_text(table["address"]);
}

std::string bank_of(const json& bank, std::size_t) {
    return "bank " + value_text(bank["name"].is_null() ? bank["algorithm"] : bank["name"]);
}

std::string tagged_name(const json& value, std::size_t) {
    return value_text(value["name"].is_null() ? value["id"] : value["name"]);
}

std::string tagged_value_text(const json& value) {
    for (const char* key : {"value", "text", "bytes"}) {
        if (value.contains(key)) {
            const std::string text = value_text(value[key]);
            return " " + (is_long_hex(text) ? short_digits(text) : text);
        }
    }
    return "";
}

std::string nothing_more(const json&) {
    return "";
}

constexpr keyed_list keyed_lists[] = {
    {"partitions", "unique_guid", partition_name, partition_place},
    {"tables", "guid", table_name, table_place},
    {"banks", "algorithm", bank_of, nothing_more},
    {"values", "id", tagged_name, tagged_value_text},
    {"parts", "id", tagged_name, tagged_value_text},
};

// A partition that moved is said to, the rest of an entry is compared field by field.
void compare_entries(const keyed_list& list, const entry& reference, const entry& live, const finder& out) {
    const finder within = out.within(list.name(*live.value, live.number));
    json before = *reference.value;
    if (list.field == "partitions" && sectors(before) != sectors(*live.value)) {
        within.add(std::string(list.field), before, *live.value,
                   " moved from " + sectors(before) + " to " + sectors(*live.value));
        before["first_lba"] = (*live.value)["first_lba"];
        before["last_lba"] = (*live.value)["last_lba"];
    }
    compare_fields(before, *live.value, within);
}

void compare_keyed(const keyed_list& list, const field_pair& field, const finder& out) {
    const std::size_t before = out.changes.size();
    for (const entry_pair& pair : entries_by(list.key, field.reference, field.live)) {
        const bool added = pair.reference.value == nullptr;
        if (!added && pair.live.value != nullptr) {
            compare_entries(list, pair.reference, pair.live, out);
            continue;
        }
        const entry& only = added ? pair.live : pair.reference;
        out.within(list.name(*only.value, only.number))
            .add(field.key, value_or_null(pair.reference), value_or_null(pair.live),
                 list.shown(*only.value) + (added ? " added" : " removed"));
    }
    if (out.changes.size() == before) {
        out.add_about(field.key, field.reference, field.live, label_of(field.key) + ": the same in another order");
    }
}

// Fields -----------------------------------------------------------------------------------------------------------

void compare_list(const field_pair& field, const finder& out) {
    for (const keyed_list& list : keyed_lists) {
        if (list.field == field.key) {
            return compare_keyed(list, field, out);
        }
    }
    compare_order(field, out);
}

void compare_field(const field_pair& field, const finder& out) {
    if (field.reference.is_array() && field.live.is_array()) {
        return field.key == "signature_lists" ? compare_signature_lists(field, out) : compare_list(field, out);
    }
    if (field.key == "authority" && field.reference.is_object() && field.live.is_object()) {
        return compare_authority(field, out);
    }
    if (field.key == "text" && field.reference.is_string() && field.live.is_string()) {
        return compare_lines(field, out);
    }
    compare_values(field, out);
}

// Keys in the order of the live tree, what it lacks behind.
void compare_fields(const json& reference, const json& live, const finder& out) {
    const json nothing;
    for (const auto& item : live.items()) {
        const auto found = reference.find(item.key());
        const json& before = found == reference.end() ? nothing : *found;
        if (before != item.value()) {
            compare_field({item.key(), before, item.value()}, out);
        }
    }
    for (const auto& item : reference.items()) {
        if (!live.contains(item.key())) {
            compare_field({item.key(), item.value(), nothing}, out);
        }
    }
}

// What stands in front of everything that is said of a tree.
std::string subject_of(const json& fields) {
    if (fields["kind"] == "variable") {
        return value_text(fields["name"]);
    }
    return fields["kind"] == "text" ? label_of(fields["meaning"].get<std::string>()) : "";
}

}  // namespace

std::vector<field_change> tree_changes(const json& reference, const json& live) {
    std::vector<field_change> changes;
    const bool same_kind = reference["kind"] == live["kind"];
    compare_fields(reference, live, {changes, same_kind ? subject_of(live) : ""});
    return changes;
}

}  // namespace vellum
