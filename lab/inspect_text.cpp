#include "lab/inspect_text.h"

#include <algorithm>

namespace vellum::lab {
namespace {

constexpr std::size_t page_width = 80;
constexpr std::size_t digits_per_line = 64;  // a SHA-256 value
constexpr std::size_t digits_of_beginning = 2 * digits_per_line;

std::string label_of(const std::string& key) {
    std::string label = key;
    std::replace(label.begin(), label.end(), '_', ' ');
    return label;
}

std::string scalar_text(const report& value) {
    if (value.is_string() && value != "") {
        return value.get<std::string>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    return value.is_null() || value == "" ? "none" : value.dump();
}

// An empty list reads as a scalar does.
bool nested(const report& value) {
    return value.is_structured() && !value.empty();
}

bool is_long_hex(std::string_view text) {
    return text.size() > digits_per_line / 2 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

void text_page::digits(std::size_t column, std::string_view text) {
    const bool cut = extent_ == inspect_extent::usual && text.size() > digits_of_beginning;
    const std::size_t hidden = cut ? text.size() - digits_of_beginning : 0;
    text.remove_suffix(hidden);
    const std::size_t per_line = column + digits_per_line <= page_width ? digits_per_line : digits_per_line / 2;
    while (text.size() > per_line) {
        text_.append(text.substr(0, per_line)) += '\n' + std::string(column, ' ');
        text.remove_prefix(per_line);
    }
    text_ += text;
    if (cut) {
        text_ += '\n' + std::string(column, ' ') + "and " + std::to_string(hidden / 2) + " bytes more (--all)";
    }
    text_ += '\n';
}

// Breaks at blanks.
void text_page::flow(std::size_t column, std::string_view text) {
    if (is_long_hex(text)) {
        return digits(column, text);
    }
    const std::size_t width = page_width - std::min(column, page_width / 2);
    const std::size_t first_word = std::min(text.find_first_not_of(' '), text.size());
    while (text.size() > width) {
        std::size_t end = text.rfind(' ', width);
        if (end == std::string_view::npos || end <= first_word) {
            end = text.find(' ', std::max(width, first_word));
        }
        if (end == std::string_view::npos) {
            break;
        }
        text_.append(text.substr(0, end)) += '\n' + std::string(column + first_word, ' ');
        text.remove_prefix(end + 1);
    }
    text_.append(text) += '\n';
}

void text_page::value(std::size_t indent, std::string_view label, std::size_t label_width, std::string_view text) {
    text_.append(indent, ' ').append(label);
    text_.append(label_width - std::min(label.size(), label_width) + 2, ' ');
    flow(indent + std::max(label.size(), label_width) + 2, text);
}

void text_page::scalars(const report& node, std::size_t indent) {
    for (const report& value : node) {
        text_.append(indent, ' ');
        flow(indent, scalar_text(value));
    }
}

// The depth is that of the format, not of the data.
void text_page::fields(const report& node, std::size_t indent) {
    if (node.is_array() && !node.front().is_structured()) {
        return scalars(node, indent);
    }
    std::size_t width = 0;
    for (const auto& item : node.items()) {
        width = nested(item.value()) ? width : std::max(width, item.key().size());
    }
    std::size_t position = 0;
    for (const auto& item : node.items()) {
        const std::string label = node.is_array() ? "[" + std::to_string(position++) + "]" : label_of(item.key());
        if (nested(item.value())) {
            line(std::string(indent, ' ') + label);
            fields(item.value(), indent + 2);
        } else {
            value(indent, label, width, item.value().is_structured() ? "none" : scalar_text(item.value()));
        }
    }
}

void text_page::remarks(const char* title, const report& list) {
    constexpr std::size_t indent = 2;
    if (list.empty()) {
        return;
    }
    line("");
    line(title);
    for (const report& remark : list) {
        std::string says = remark["says"].get<std::string>();
        if (remark.contains("validation")) {
            says += " (validation " + remark["validation"].get<std::string>() + ")";
        }
        text_ += "  - ";
        flow(2 * indent, says);
        scalars(remark["details"], 3 * indent);
    }
}

void text_page::verdict(const report& description) {
    remarks("cautions", description["cautions"]);
    remarks("reasons", description["reasons"]);
    line("");
    line("verdict: " + description["verdict"].get<std::string>());
}

report head_of(const report& description) {
    constexpr std::string_view elsewhere[] = {"schema", "schema_version", "verdict", "reasons", "cautions"};
    report head;
    for (const auto& item : description.items()) {
        if (std::find(std::begin(elsewhere), std::end(elsewhere), item.key()) == std::end(elsewhere)) {
            head[item.key()] = item.value();
        }
    }
    return head;
}

}  // namespace vellum::lab
