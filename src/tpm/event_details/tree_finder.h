// What the comparison of trees of fields is made of: where changes go, how values read, which entries of two lists
// belong together. Internal to tree_changes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tpm/event_details/tree_changes.h"

namespace vellum {

using field_tree = nlohmann::ordered_json;

// One field of an object in both trees; null where it is missing.
struct field_pair {
    const std::string& key;
    const field_tree& reference;
    const field_tree& live;
};

// Where what is found goes, and what it is found in: "BootOrder", "partition 3 'Data'".
struct finder {
    std::vector<field_change>& changes;
    std::string subject;

    // `says` goes on behind the subject.
    void add(const std::string& field, field_tree reference, field_tree live, const std::string& says) const {
        changes.push_back({field, std::move(reference), std::move(live), subject + says});
    }
    // The same behind a colon, if anything stands in front of it.
    void add_about(const std::string& field, field_tree reference, field_tree live, const std::string& says) const {
        add(field, std::move(reference), std::move(live), (subject.empty() ? "" : ": ") + says);
    }
    finder within(const std::string& part) const { return {changes, subject + (subject.empty() ? "" : ": ") + part}; }
};

// Bytes as hexadecimal digits, more than are shown whole.
bool is_long_hex(std::string_view text);

// The first digits of many.
std::string short_digits(const std::string& digits);

// A scalar, or a GUID by its name if it has one.
std::string value_text(const field_tree& value);

// The GUID's name, else its digits.
std::string named(const field_tree& guid);

// "OLD -> NEW"; of long bytes from where they part.
std::string change_text(const field_tree& reference, const field_tree& live);

// A key in words; empty for a field that is what its subject says.
std::string label_of(const std::string& key);

void compare_values(const field_pair& field, const finder& out);

// The entries of two lists that have one key, or the entry of one of them; `number` counts from 1 within its list.
struct entry {
    const field_tree* value = nullptr;
    std::size_t number = 0;
};
struct entry_pair {
    entry reference;
    entry live;
};

// In the order of the live list, what it lacks behind. Of several with one key the first belongs to the first.
std::vector<entry_pair> entries_by(const char* key, const field_tree& reference, const field_tree& live);

field_tree value_or_null(const entry& entry);

}  // namespace vellum
