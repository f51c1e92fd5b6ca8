#include "tpm/event_details/event_changes.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "base/text.h"
#include "tpm/event_details/event_text.h"

namespace vellum {
namespace {

using json = nlohmann::ordered_json;

// Where something lay in memory, which no firmware promises to keep.
constexpr std::string_view place_fields[] = {"location", "link_address", "base", "address"};

bool is_place(const field_change& change) {
    return std::find(std::begin(place_fields), std::end(place_fields), change.field) != std::end(place_fields);
}

// The first digests that differ in a bank that both events have.
struct digest_pair {
    byte_view reference;
    byte_view live;
    bool found = false;
};

digest_pair differing_digests(const logged_event& a, const logged_event& b) {
    for (const event_digest& digest : a.banks()) {
        for (const event_digest& other : b.banks()) {
            if (digest.algorithm == other.algorithm && !equal_bytes(digest.value, other.value)) {
                return {digest.value, other.value, true};
            }
        }
    }
    return {};
}

field_change digest_change(const digest_pair& digests, std::string says) {
    return {"digest", lower_hex(digests.reference), lower_hex(digests.live), std::move(says)};
}

// The path of a file says again what the file's name says.
void drop_path_of_file(std::vector<field_change>& changes) {
    const auto named = [&](const char* field) {
        return std::find_if(changes.begin(), changes.end(),
                            [field](const field_change& change) { return change.field == field; });
    };
    const auto file = named("file");
    const auto path = named("device_path");
    const auto has_texts = [&changes](const auto& at) {
        return at != changes.end() && at->reference.is_string() && at->live.is_string();
    };
    if (!has_texts(file) || !has_texts(path)) {
        return;
    }
    std::string expected = path->reference.get<std::string>();
    const std::string before = file->reference.get<std::string>();
    const std::size_t at = expected.rfind(before);
    if (at == std::string::npos) {
        return;
    }
    expected.replace(at, before.size(), file->live.get<std::string>());
    if (path->live.get<std::string>() == expected) {
        changes.erase(path);
    }
}

// What only the digest tells.
std::string hidden_change(const digest_claim& claim) {
    return claim.proof == digest_proof::contradicted
               ? "the digest is not that of " + std::string(claim.hashed) + ": the log contradicts itself"
               : std::string(claim.hashed) + " changed, and the log does not show how";
}

// Data that are equal where they mean something.
std::string byte_change(byte_view reference, byte_view live) {
    const auto parting = std::mismatch(reference.begin(), reference.end(), live.begin(), live.end()).first;
    return "the data differ from byte " + std::to_string(parting - reference.begin()) +
           " on, in what has no meaning that is known";
}

void add_what_fields_hide(const logged_event& reference, const logged_event& live, event_change& out) {
    const bool visible = std::any_of(out.fields.begin(), out.fields.end(),
                                     [](const field_change& change) { return !is_place(change); });
    const digest_pair digests = differing_digests(reference, live);
    if (digests.found && out.live_claim.proof != digest_proof::proved) {
        out.fields.insert(visible ? out.fields.end() : out.fields.begin(),
                          digest_change(digests, hidden_change(out.live_claim)));
    }
    if (out.fields.empty() && !equal_bytes(reference.data, live.data)) {
        out.fields.push_back(
            {"data", lower_hex(reference.data), lower_hex(live.data), byte_change(reference.data, live.data)});
    }
    if (out.fields.empty() && digests.found) {
        out.fields.push_back(digest_change(
            digests, "the digest changed, which was not that of " + std::string(out.live_claim.hashed)));
    }
}

}  // namespace

event_change compare_event(const logged_event& reference, const logged_event& live, claim_checker& claims) {
    event_change out;
    out.reference = decode_event(reference);
    out.live = decode_event(live);
    out.reference_claim = claims.check(reference, out.reference);
    out.live_claim = claims.check(live, out.live);
    out.digests_differ = differing_digests(reference, live).found;
    out.fields =
        tree_changes(details_json(out.reference, hash_lists::listed), details_json(out.live, hash_lists::listed));
    drop_path_of_file(out.fields);
    out.only_places =
        !out.digests_differ && !out.fields.empty() && std::all_of(out.fields.begin(), out.fields.end(), is_place);
    add_what_fields_hide(reference, live, out);
    return out;
}

}  // namespace vellum
