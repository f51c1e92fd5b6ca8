#include "tpm/event_details/value_changes.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "base/text.h"

namespace vellum {
namespace {

using json = field_tree;

// Signature lists --------------------------------------------------------------------------------------------------

// A firmware may make one list of many entries or many lists of one: the entries count.
json all_entries(const json& lists, const char* key) {
    json out = json::array();
    for (const json& list : lists) {
        if (list.contains(key)) {
            out.insert(out.end(), list[key].begin(), list[key].end());
        }
    }
    return out;
}

// "CN=..." of a subject, else all of it.
std::string common_name(const json& certificate) {
    const std::string subject = certificate["subject"].get<std::string>();
    const std::size_t at = subject.find("CN=");
    return at == std::string::npos ? subject : subject.substr(at + 3, subject.find(", ", at) - at - 3);
}

std::string certificate_text(const json& certificate) {
    return "certificate '" + common_name(certificate) + "' (sha256 " +
           short_digits(certificate["sha256"].get<std::string>()) + ")";
}

void compare_certificates(const json& reference, const json& live, const finder& out) {
    for (const entry_pair& pair : entries_by("sha256", reference, live)) {
        const bool added = pair.reference.value == nullptr;
        if (added || pair.live.value == nullptr) {
            out.add_about(
                "certificates", value_or_null(pair.reference), value_or_null(pair.live),
                certificate_text(*(added ? pair.live : pair.reference).value) + (added ? " added" : " removed"));
        } else if (const json& before = *pair.reference.value, &after = *pair.live.value;
                   before["owner"] != after["owner"]) {
            out.add_about("certificates", before, after,
                          certificate_text(after) + ": owner: " + change_text(before["owner"], after["owner"]));
        }
    }
}

// Those of `from` that `other` lacks, as often as it lacks them.
json without(json from, json other) {
    std::sort(from.begin(), from.end());
    std::sort(other.begin(), other.end());
    json left = json::array();
    std::set_difference(from.begin(), from.end(), other.begin(), other.end(), std::back_inserter(left));
    return left;
}

std::string hashes_text(const json& hashes) {
    return hashes.size() == 1 ? "hash " + short_digits(hashes[0].get<std::string>())
                              : std::to_string(hashes.size()) + " hashes";
}

void compare_hashes(const json& reference, const json& live, const finder& out) {
    const json removed = without(reference, live);
    const json added = without(live, reference);
    if (!added.empty()) {
        out.add_about("hashes", json(), added, hashes_text(added) + " added");
    }
    if (!removed.empty()) {
        out.add_about("hashes", removed, json(), hashes_text(removed) + " removed");
    }
}

std::string authority_text(const json& authority) {
    return authority.contains("sha256") ? certificate_text(authority)
                                        : "hash " + short_digits(authority["hash"].get<std::string>());
}

// Command lines ----------------------------------------------------------------------------------------------------

std::vector<std::string> words_of(const std::string& text) {
    std::vector<std::string> words;
    std::string_view rest = text;
    while (!rest.empty()) {
        if (const std::string_view word = take_until(rest, ' '); !word.empty()) {
            words.emplace_back(word);
        }
    }
    return words;
}

// Those of `from` that `other` lacks, in their order.
std::vector<std::string> words_without(const std::vector<std::string>& from, std::vector<std::string> other) {
    std::sort(other.begin(), other.end());
    std::map<std::string, std::size_t> taken;
    std::vector<std::string> left;
    for (const std::string& word : from) {
        const auto [first, last] = std::equal_range(other.begin(), other.end(), word);
        if (taken[word]++ >= static_cast<std::size_t>(last - first)) {
            left.push_back(word);
        }
    }
    return left;
}

std::string quoted_words(const std::vector<std::string>& words) {
    std::string out;
    for (const std::string& word : words) {
        out += (out.empty() ? "'" : " ") + word;
    }
    return out + "'";
}

}  // namespace

void compare_signature_lists(const field_pair& field, const finder& out) {
    const std::size_t before = out.changes.size();
    compare_certificates(all_entries(field.reference, "certificates"), all_entries(field.live, "certificates"), out);
    compare_hashes(all_entries(field.reference, "hashes"), all_entries(field.live, "hashes"), out);
    if (out.changes.size() == before) {
        out.add_about(field.key, field.reference, field.live, "the same entries in another order");
    }
}

void compare_authority(const field_pair& field, const finder& out) {
    out.add_about(field.key, field.reference, field.live,
                  authority_text(field.reference) + " -> " + authority_text(field.live));
}

void compare_lines(const field_pair& field, const finder& out) {
    const std::vector<std::string> before = words_of(field.reference.get<std::string>());
    const std::vector<std::string> after = words_of(field.live.get<std::string>());
    const std::vector<std::string> removed = words_without(before, after);
    const std::vector<std::string> added = words_without(after, before);
    const bool alike = removed.size() * 2 <= before.size() && removed.size() + added.size() > 0;
    if (!alike) {
        compare_values(field, out);
    } else if (removed.size() == 1 && added.size() == 1) {
        out.add_about(field.key, field.reference, field.live, quoted_words(removed) + " -> " + quoted_words(added));
    } else {
        out.add_about(field.key, field.reference, field.live,
                      (removed.empty() ? "" : quoted_words(removed) + " removed") +
                          (removed.empty() || added.empty() ? "" : ", ") +
                          (added.empty() ? "" : quoted_words(added) + " added"));
    }
}

}  // namespace vellum
