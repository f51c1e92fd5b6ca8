#include "lab/inspect.h"

#include <algorithm>
#include <cstdio>

#include "core/log.h"
#include "lab/inspect_report.h"

namespace vellum::lab {
namespace {

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

// The depth is that of the format, not of the data.
void write_text(const report& node, std::size_t indent, std::string& out) {
    const std::string margin(indent, ' ');
    std::size_t position = 0;
    for (const auto& item : node.items()) {
        const report& value = item.value();
        const std::string label =
            node.is_array() ? "[" + std::to_string(position++) + "]" : label_of(item.key()) + ":";
        if (!value.is_structured()) {
            out += margin + (node.is_array() ? "" : label + " ") + scalar_text(value) + '\n';
        } else if (value.empty()) {
            out += margin + label + " none\n";
        } else {
            out += margin + label + '\n';
            write_text(value, indent + 2, out);
        }
    }
}

std::string render(const report& description, inspect_form form) {
    if (form == inspect_form::json) {
        return description.dump(2, ' ', false, report::error_handler_t::replace) + '\n';
    }
    std::string text;
    write_text(description, 0, text);
    return text;
}

// The value of an option that needs one; consumes it.
bool take_value(std::span<char* const>& arguments, std::string& out) {
    if (arguments.empty()) {
        return false;
    }
    out = arguments.front();
    arguments = arguments.subspan(1);
    return true;
}

}  // namespace

report finding_console::take() {
    flush_messages(log_level::brief, "", flush_order::newest_first);
    report lines = report::array();
    for (std::string_view rest = text_; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
        if (const std::string_view line = rest.substr(0, end + (rest[end] != '\n')); !line.empty()) {
            lines.push_back(line);
        }
        rest.remove_prefix(end + 1);
    }
    text_.clear();
    return lines;
}

std::string hex_number(std::uint32_t value) {
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", value);
    return text.data();
}

bool parse_inspect_request(std::span<char* const> arguments, inspect_request& out) {
    std::string kind;
    if (!take_value(arguments, kind) || (kind != "pmf" && kind != "eventlog") || !take_value(arguments, out.path)) {
        return false;
    }
    out.kind = kind == "pmf" ? inspect_kind::pmf : inspect_kind::event_log;
    while (!arguments.empty()) {
        const std::string_view option = arguments.front();
        arguments = arguments.subspan(1);
        if (option == "--json") {
            out.form = inspect_form::json;
            continue;
        }
        const bool trusted = option == "--trusted";
        if (out.kind != inspect_kind::pmf || (!trusted && option != "--intermediate") ||
            !take_value(arguments, trusted ? out.trusted_dir : out.intermediate_dir)) {
            return false;
        }
    }
    return true;
}

bool inspect(const inspect_request& request, platform services, std::string& out) {
    finding_console findings;
    log_start(findings, services.clock, services.errors);
    set_console_threshold(log_level::brief);
    report description;
    const bool well_formed = request.kind == inspect_kind::pmf
                                 ? describe_pmf(request, services.directories, findings, description)
                                 : describe_event_log(request, findings, description);
    out = render(description, request.form);
    log_stop();
    return well_formed;
}

}  // namespace vellum::lab
