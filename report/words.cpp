#include "report/words.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr const char* cause_names[] = {"environment", "configuration", "expiry", "change", "tampering", "firmware"};
constexpr const char* kind_names[] = {"stage", "finding", "caution"};
constexpr const char* person_names[] = {
    "administrator of the device", "who keeps the configuration",     "manufacturer",
    "who makes the PMF",           "who is responsible for security", "who maintains the program",
};

using word_table = std::span<const words> (*)();
constexpr word_table tables[] = {
    stage_words,     caution_words,  certificates_words, config_words, device_id_words, disk_words,   evidence_words,
    firmware_words,  pcrs_words,     platform_words,     pmf_words,    pmf_rules_words, report_words, seal_words,
    seal_keys_words, seal_log_words, tpm_words,          trust_words,  unseal_words,
};

// Stages keep the order of their table.
bool stands_before(const words& a, const words& b) {
    if (a.kind != b.kind) {
        return a.kind < b.kind;
    }
    return a.kind != word_kind::stage && std::string_view(a.id) < b.id;
}

std::vector<words> collect() {
    std::vector<words> all;
    for (const word_table table : tables) {
        const std::span<const words> rows = table();
        all.insert(all.end(), rows.begin(), rows.end());
    }
    std::stable_sort(all.begin(), all.end(), stands_before);
    return all;
}

}  // namespace

std::span<const words> all_words() {
    static const std::vector<words> all = collect();
    return all;
}

const words* words_of(std::string_view id) {
    const std::span<const words> all = all_words();
    const auto found = std::find_if(all.begin(), all.end(), [id](const words& row) { return row.id == id; });
    return found == all.end() ? nullptr : &*found;
}

const char* cause_class_name(cause_class cause) {
    return cause_names[static_cast<std::size_t>(cause)];
}

const char* word_kind_name(word_kind kind) {
    return kind_names[static_cast<std::size_t>(kind)];
}

const char* person_name(person who) {
    return person_names[static_cast<std::size_t>(who)];
}

std::string_view first_sentence(std::string_view text) {
    const std::size_t end = text.find(". ");
    return end == std::string_view::npos ? text : text.substr(0, end + 1);
}

}  // namespace vellum
