#include "tpm/event_details/tree_finder.h"

#include <algorithm>
#include <map>

namespace vellum {
namespace {

using json = field_tree;

constexpr std::size_t most_digits = 64;  // of bytes that are shown whole, a SHA-256 value

std::string bytes_text(const std::string& digits, std::size_t first) {
    constexpr std::size_t shown = 16;
    return digits.substr(first, shown) + (digits.size() > first + shown ? "..." : "");
}

// What two long values have in common in front is left out.
std::string bytes_change(const std::string& before, const std::string& after) {
    const auto parting = std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
    const auto first = static_cast<std::size_t>(parting - before.begin()) / 2 * 2;
    const auto size = [](const std::string& digits) { return std::to_string(digits.size() / 2); };
    const std::string sizes = before.size() == after.size() ? size(before) + " bytes"
                                                            : size(before) + " bytes -> " + size(after) + " bytes";
    return sizes + ", from byte " + std::to_string(first / 2) + " on " + bytes_text(before, first) + " -> " +
           bytes_text(after, first);
}

struct label {
    std::string_view key;
    const char* text;
};

// Of fields that say what their subject does they are empty.
constexpr label labels[] = {
    {"value", ""},
    {"text", ""},
    {"bytes", ""},
    {"authority", ""},
    {"location", "loaded to"},
    {"base", "place in memory"},
    {"signature_lists", ""},
    {"seal_configuration", "seal configuration"},
    {"seal_log_hash", "hash of the seal log"},
};

}  // namespace

std::string short_digits(const std::string& digits) {
    constexpr std::size_t beginning = 16;
    return digits.size() > beginning ? digits.substr(0, beginning) + "..." : digits;
}

bool is_long_hex(std::string_view text) {
    return text.size() > most_digits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string named(const json& guid) {
    return guid["name"].is_string() ? guid["name"].get<std::string>() : guid["guid"].get<std::string>();
}

std::string value_text(const json& value) {
    if (value.is_null() || value == "") {
        return "nothing";
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "on" : "off";
    }
    if (value.is_object() && value.contains("guid") && value.contains("name")) {
        return named(value);
    }
    return value.is_string() ? value.get<std::string>() : value.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string change_text(const json& reference, const json& live) {
    const std::string before = value_text(reference);
    const std::string after = value_text(live);
    return is_long_hex(before) && is_long_hex(after) ? bytes_change(before, after) : before + " -> " + after;
}

std::string label_of(const std::string& key) {
    for (const label& row : labels) {
        if (row.key == key) {
            return row.text;
        }
    }
    std::string words = key;
    std::replace(words.begin(), words.end(), '_', ' ');
    return words;
}

std::vector<entry_pair> entries_by(const char* key, const json& reference, const json& live) {
    std::map<std::string, std::vector<entry>> open;
    std::size_t number = 0;
    for (const json& value : reference) {
        open[value_text(value[key])].push_back({&value, ++number});
    }
    for (auto& [name, entries] : open) {
        std::reverse(entries.begin(), entries.end());
    }
    std::vector<entry_pair> pairs;
    number = 0;
    for (const json& value : live) {
        entry_pair pair = {{}, {&value, ++number}};
        if (const auto found = open.find(value_text(value[key])); found != open.end() && !found->second.empty()) {
            pair.reference = found->second.back();
            found->second.pop_back();
        }
        pairs.push_back(pair);
    }
    std::vector<entry> left;
    for (const auto& [name, entries] : open) {
        left.insert(left.end(), entries.begin(), entries.end());
    }
    std::sort(left.begin(), left.end(), [](const entry& a, const entry& b) { return a.number < b.number; });
    for (const entry& removed : left) {
        pairs.push_back({removed, {}});
    }
    return pairs;
}

json value_or_null(const entry& entry) {
    return entry.value != nullptr ? *entry.value : json();
}

void compare_values(const field_pair& field, const finder& out) {
    std::string name = label_of(field.key);
    if (name.empty() && out.subject.empty()) {
        name = field.key;
    }
    out.add_about(field.key, field.reference, field.live,
                  (name.empty() ? "" : name + ": ") + change_text(field.reference, field.live));
}

}  // namespace vellum
