#include "core/findings.h"

#include <algorithm>
#include <cstdarg>
#include <new>

#include "base/text.h"
#include "core/os_error.h"

namespace vellum {
namespace {

constexpr std::size_t first_capacity = 256;
constexpr std::size_t console_block_size = std::size_t{16} * 1024;

constexpr const char* lost_text =
    "An error in application occurred but internal memory management error made it impossible to print verbose error information.\n\n";

struct kept_line {
    std::size_t size;  // bytes of the texts
    std::uint32_t flags;
};

struct kept_finding {
    const char* id;
    std::size_t first_line;
    std::size_t first_byte;
};

struct kept_field {
    std::size_t finding;
    finding_field field;
};

// Findings, their lines and the texts of these, each one after another.
struct finding_store {
    std::vector<kept_finding> findings;
    std::vector<kept_line> lines;
    std::string texts;
    bool open = false;    // the last one that was raised is there, and takes lines
    bool lost = false;    // memory ran out under one of them
    std::string scratch;  // of formatted texts
    bool observed = false;
    std::vector<kept_field> fields;  // by finding
};

finding_store store;

// Runs what adds to the store; false, with nothing added, when it runs out of memory.
template <typename Add>
bool added(Add add) {
    const std::size_t findings = store.findings.size();
    const std::size_t lines = store.lines.size();
    const std::size_t bytes = store.texts.size();
    const std::size_t fields = store.fields.size();
    try {
        add();
        return true;
    } catch (const std::bad_alloc&) {
        store.fields.resize(std::min(fields, store.fields.size()));
        store.findings.resize(std::min(findings, store.findings.size()));
        store.lines.resize(std::min(lines, store.lines.size()));
        store.texts.resize(std::min(bytes, store.texts.size()));
        return false;
    }
}

void add_line(std::uint32_t flags, std::string_view text) {
    store.lines.push_back({text.size(), flags});
    store.texts.append(text);
}

void open_finding(const char* id) {
    if (store.findings.capacity() == 0) {
        store.findings.reserve(first_capacity);
        store.lines.reserve(first_capacity);
    }
    store.findings.push_back({id, store.lines.size(), store.texts.size()});
}

void add_finding(const char* id, std::uint32_t flags, std::string_view text) {
    open_finding(id);
    add_line(flags, text);
}

// What memory ran out under is said at the printing.
template <typename Add>
void raise(Add add) {
    store.open = added(add);
    store.lost = store.lost || !store.open;
}

template <typename Add>
void extend(Add add) {
    store.lost = !store.open || !added(add) || store.lost;
}

result push(std::uint32_t flags, const char* format, std::va_list arguments) {
    if (missing_parameter(format, "format")) {
        return result::internal_failure;
    }
    const bool kept = added([&] { add_finding("", flags, format_into(store.scratch, format, arguments)); });
    return kept ? result::success : result::internal_failure;
}

std::size_t end_of_lines(std::size_t finding) {
    return finding + 1 < store.findings.size() ? store.findings[finding + 1].first_line : store.lines.size();
}

// Hands over each line of a finding, in order.
template <typename Take>
void for_each_line(std::size_t finding, Take take) {
    std::size_t byte = store.findings[finding].first_byte;
    for (std::size_t line = store.findings[finding].first_line; line < end_of_lines(finding); ++line) {
        const kept_line& kept = store.lines[line];
        take(std::string_view(store.texts).substr(byte, kept.size), kept.flags);
        byte += kept.size;
    }
}

// Hands all findings to the sink piece by piece, as one text without a line end.
template <typename Sink>
void for_each_piece(std::string_view prefix, flush_order order, Sink sink) {
    const std::size_t count = store.findings.size();
    std::size_t lines_left = store.lines.size();
    bool breaks = false;
    const auto hand_over = [&](std::string_view text, std::uint32_t flags) {
        const bool last = --lines_left == 0;
        const bool prefixed = (flags & no_prefix) == 0 && !prefix.empty();
        const bool ends_line = (flags & no_line_break) == 0;
        if (breaks && !(last && text.empty() && !prefixed)) {
            sink("\n");
        }
        if (prefixed) {
            sink(prefix);
        }
        sink(ends_line || last ? without_line_end(text) : text);
        breaks = ends_line;
    };
    for (std::size_t i = 0; i < count; ++i) {
        for_each_line(order == flush_order::newest_first ? count - 1 - i : i, hand_over);
    }
}

void print_on_console(log_level level, std::string_view prefix, flush_order order) {
    std::string block;
    begin_console_line(level);
    for_each_piece(prefix, order, [&block, level](std::string_view piece) {
        block.append(piece);
        if (block.size() >= console_block_size) {
            write_console(level, block);
            block.clear();
        }
    });
    block.push_back('\n');
    write_console(level, block);
}

void print_in_file(log_level level, std::string_view prefix, flush_order order) {
    begin_file_line(level);
    for_each_piece(prefix, order, [level](std::string_view piece) { write_file(level, piece); });
    write_file(level, "\n");
}

// False when memory ran out.
bool printed(log_level level, std::string_view prefix, flush_order order) {
    try {
        if (console_enabled(level)) {
            print_on_console(level, prefix, order);
        }
        if (file_enabled(level)) {
            print_in_file(level, prefix, order);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace

finding_lines begin_report(finding_id id) {
    raise([id] { open_finding(id.name()); });
    return {};
}

finding_lines report(finding_id id, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    raise([&] { add_finding(id.name(), 0, format_into(store.scratch, format, arguments)); });
    va_end(arguments);
    return {};
}

finding_lines report_text(finding_id id, std::string_view text) {
    raise([&] { add_finding(id.name(), 0, text); });
    return {};
}

finding_lines& finding_lines::line(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    extend([&] { add_line(0, format_into(store.scratch, format, arguments)); });
    va_end(arguments);
    return *this;
}

finding_lines& finding_lines::text(std::string_view text) {
    extend([&] { add_line(0, text); });
    return *this;
}

finding_lines& finding_lines::empty_line() {
    extend([] { add_line(no_prefix, ""); });
    return *this;
}

finding_lines& finding_lines::system_error(os_status status) {
    extend([status] {
        const std::string text = " Error: " + os_error_text(status);
        store.texts.append(text);
        store.lines.back().size += text.size();
    });
    return field("os_error", code_of(status));
}

finding_lines& finding_lines::field(const char* name, std::string_view value) {
    if (store.observed && store.open) {
        extend([&] { store.fields.push_back({store.findings.size() - 1, {name, std::string(value)}}); });
    }
    return *this;
}

finding_lines& finding_lines::field(const char* name, byte_view value) {
    if (store.observed && store.open) {
        extend([&] { store.fields.push_back({store.findings.size() - 1, {name, lower_hex(value)}}); });
    }
    return *this;
}

finding_lines note(finding_id id) {
    store.open = false;
    if (store.observed) {
        raise([id] { open_finding(id.name()); });
    }
    return {};
}

void observe_findings(bool observed) {
    store.observed = observed;
}

bool findings_observed() {
    return store.observed;
}

finding_mark mark_findings() {
    return store.findings.size();
}

void drop_findings(finding_mark mark) {
    if (mark < store.findings.size()) {
        const auto later = [mark](const kept_field& kept) { return kept.finding >= mark; };
        store.fields.erase(std::find_if(store.fields.begin(), store.fields.end(), later), store.fields.end());
        store.lines.resize(store.findings[mark].first_line);
        store.texts.resize(store.findings[mark].first_byte);
        store.findings.resize(mark);
    }
}

std::vector<finding> kept_findings() {
    std::vector<finding> findings;
    for (std::size_t i = 0; i < store.findings.size(); ++i) {
        finding& copy = findings.emplace_back();
        copy.id = store.findings[i].id;
        for_each_line(i, [&copy](std::string_view text, std::uint32_t) { copy.lines.emplace_back(text); });
    }
    for (const kept_field& kept : store.fields) {
        findings[kept.finding].fields.push_back(kept.field);
    }
    return findings;
}

void flush_messages(log_level level, std::string_view prefix, flush_order order) {
    bool lost = store.lost;
    if (!store.lines.empty()) {
        lost = !printed(level, prefix, order) || lost;
    }
    clear_messages();
    if (lost) {
        log_text(level, lost_text);
    }
}

std::string take_messages(flush_order order) {
    std::string text;
    for_each_piece("", order, [&text](std::string_view piece) { text += piece; });
    clear_messages();
    return text;
}

void clear_messages() {
    store.findings.clear();
    store.fields.clear();
    store.lines.clear();
    store.texts.clear();
    store.lost = false;
}

result push_message(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push(0, format, arguments);
    va_end(arguments);
    return pushed;
}

result push_message_flags(std::uint32_t flags, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push(flags, format, arguments);
    va_end(arguments);
    return pushed;
}

result push_os_error(os_status status, const char* format, ...) {
    RETURN_IF_FAILED(push_message_flags(no_prefix, " Error: %s", os_error_text(status).c_str()));
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push(no_line_break, format, arguments);
    va_end(arguments);
    return pushed;
}

}  // namespace vellum
