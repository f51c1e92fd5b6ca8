#include "tpm/event_details/event_subject.h"

#include <string_view>

namespace vellum {
namespace {

std::string bytes_text(const guid_value& guid) {
    return {guid.begin(), guid.end()};
}

// The command, and of one that sets something what it sets.
std::string command_subject(std::string_view text) {
    const std::string_view name = text.substr(0, text.find(' '));
    return std::string(name == "set" ? text.substr(0, text.find('=')) : name);
}

event_subject subject_of_text(const text_details& text) {
    switch (text.meaning) {
        case text_meaning::loader_command: return {command_subject(text.text), false};
        case text_meaning::action:
        case text_meaning::loader_policy: return {text.text, false};
        case text_meaning::loader_file:
        case text_meaning::post_code: return {text.text, true};
        default: return {"", true};
    }
}

struct subject_maker {
    event_subject operator()(const text_details& text) const { return subject_of_text(text); }
    event_subject operator()(const variable_details& variable) const {
        return {bytes_text(variable.vendor) + variable.name, false};
    }
    event_subject operator()(const image_load_details& image) const {
        return {image.path.file.empty() ? image.path.text : image.path.file, true};
    }
    event_subject operator()(const firmware_blob_details& blob) const {
        return {blob.description.empty() ? std::to_string(blob.base) : blob.description, true};
    }
    event_subject operator()(const handoff_tables_details& tables) const { return {tables.description, true}; }
    event_subject operator()(const gpt_details& gpt) const { return {bytes_text(gpt.disk), true}; }
    event_subject operator()(const tagged_details& tagged) const {
        return {tagged.values.empty() ? "" : std::to_string(tagged.values.front().id), true};
    }
    event_subject operator()(const bytes_details& bytes) const { return {bytes.meaning, true}; }
    template <typename Other>
    event_subject operator()(const Other&) const {
        return {"", true};
    }
};

}  // namespace

event_subject subject_of(const event_details& details) {
    return std::visit(subject_maker(), details);
}

}  // namespace vellum
