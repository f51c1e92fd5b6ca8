// What differs between two trees of fields, as details_json() makes them of events of one kind. Lists are compared by
// what tells their entries apart - a partition's GUID, a certificate's fingerprint - and never by position alone.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vellum {

struct field_change {
    std::string field;  // the key in the tree, or that of the list that it stands in
    // Null where one has nothing like it. Of a list of hashes, those that the other one lacks.
    nlohmann::ordered_json reference;
    nlohmann::ordered_json live;
    std::string says;  // one line, cleaned: "BootOrder: 0001,0000 -> 0000,0001"
};

// Empty for equal trees only.
std::vector<field_change> tree_changes(const nlohmann::ordered_json& reference, const nlohmann::ordered_json& live);

}  // namespace vellum
