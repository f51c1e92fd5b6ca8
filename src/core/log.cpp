#include "core/log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <new>
#include <string>
#include <vector>

#include "core/file_handle.h"
#include "core/format.h"
#include "core/text.h"
#include "platform/clock.h"
#include "platform/regular_file.h"
#include "platform/system_errors.h"

namespace vellum {
namespace {

struct deferred_message {
    std::size_t offset;
    std::size_t size;
    std::uint32_t flags;
};

constexpr std::size_t file_buffer_size = std::size_t{256} * 1024;
constexpr std::size_t console_block_size = std::size_t{16} * 1024;
constexpr std::size_t first_message_capacity = 256;
constexpr std::size_t tag_width = 10;

struct logging_state {
    class console* console = nullptr;
    class clock* clock = nullptr;
    system_errors* errors = nullptr;
    log_level console_threshold = log_level::info;
    log_level file_threshold = log_level::off;
    std::int32_t utc_offset = 0;
    std::string utc_suffix;

    file_handle file;
    std::string file_buffer;
    std::size_t full_size = file_buffer_size;  // of the buffer

    // The timestamp of the last second that was asked for.
    std::int64_t stamped_second = 0;
    std::string stamp;

    // The deferred messages: their texts one after another in one buffer.
    std::vector<deferred_message> messages;
    std::string message_texts;

    // Kept, so that no line asks for memory of its own.
    std::string scratch;
    std::string line;
};

logging_state state;

std::string_view level_tag(log_level level) {
    constexpr std::array<std::string_view, 7> tags = {
        "", "[ERROR]:", "[WARNING]:", "[BRIEF]:", "[INFO]:", "[DEBUG]:", "[TRACE]:"};
    const auto index = static_cast<std::size_t>(level);
    return index < tags.size() ? tags[index] : tags[0];
}

bool admits(log_level threshold, log_level level) {
    return level > log_level::off && threshold >= level;
}

std::string_view without_line_end(std::string_view text) {
    if (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    return text;
}

// The time-zone suffix of every timestamp; empty for an offset that has none, which is logged.
std::string suffix_of(std::int32_t utc_offset) {
    std::array<char, 16> text{};
    return ok(timezone_suffix(utc_offset, text)) ? text.data() : "";
}

// Local time of now, "%FT%T" and the time-zone suffix; formatted again only when the second changes. The pattern is
// written out, as not every C library knows its short forms. Logs nothing: it is part of every line that is logged.
const std::string& timestamp() {
    const std::int64_t now = state.clock->now();
    if (!state.stamp.empty() && now == state.stamped_second) {
        return state.stamp;
    }
    std::int64_t local = now;
    static_cast<void>(__builtin_add_overflow(now, std::int64_t{state.utc_offset}, &local));
    const auto seconds = static_cast<std::time_t>(local);
    std::array<char, 50> text{};
    std::size_t length = 0;
    if (const std::tm* time = std::gmtime(&seconds)) {
        length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", time);
    }
    state.stamp.assign(text.data(), length).append(state.utc_suffix);
    state.stamped_second = now;
    return state.stamp;
}

// Hands the first `size` buffered bytes to the system. A log file that no longer takes bytes is said once on the
// console, and the file sink stops.
void write_out(std::size_t size) {
    if (!state.file || size == 0) {
        return;
    }
    const bool written = append_text(*state.file, std::string_view(state.file_buffer).substr(0, size));
    state.file_buffer.erase(0, size);
    if (!written) {
        state.file_buffer.clear();
        state.file.reset();
        state.file_threshold = log_level::off;
        log_text(log_level::error, "Cannot write to the log file. Logging to file stops here.");
    }
}

void append_file(std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        state.file_buffer.append(piece);
    }
    if (state.file_buffer.size() < state.full_size) {
        return;
    }
    // Runs that share the file must not tear each other's lines: one that is longer than the buffer waits for its
    // end.
    const std::size_t whole_lines = state.file_buffer.rfind('\n') + 1;
    state.full_size = whole_lines == 0 ? 2 * state.file_buffer.size() : file_buffer_size;
    write_out(whole_lines);
}

// "%s %-10s ", which the message and one line end follow.
void begin_file_line(log_level level) {
    constexpr std::string_view padding = "          ";
    const std::string_view tag = level_tag(level);
    append_file({timestamp(), " ", tag, padding.substr(std::min(tag.size(), tag_width)), " "});
}

void write_file_line(log_level level, std::string_view text) {
    begin_file_line(level);
    append_file({text, "\n"});
}

// The coloured word of an error or warning, which the message and one line end follow.
void begin_console_line(log_level level) {
    if (level == log_level::error || level == log_level::warning) {
        const bool error = level == log_level::error;
        write_console(level, error ? "ERROR" : "WARNING", error ? colour::red : colour::yellow);
        write_console(level, ": ");
    }
}

void write_console_line(log_level level, std::string_view text) {
    begin_console_line(level);
    state.line.assign(text).push_back('\n');
    write_console(level, state.line);
}

// The view is valid until the next message.
std::string_view format_message(const char* format, va_list arguments) {
    return format_into(state.scratch, format, arguments);
}

result push_formatted(std::uint32_t flags, const char* format, va_list arguments) {
    if (missing_parameter(format, "format")) {
        return result::internal_failure;
    }
    try {
        return push_text(flags, format_message(format, arguments));
    } catch (const std::bad_alloc&) {
        return result::internal_failure;
    }
}

result push_os_error_formatted(std::uint32_t code, const char* format, va_list arguments) {
    try {
        const std::string text = os_error_text(code);
        const result pushed = push_message_flags(no_prefix, " Error: %s", text.c_str());
        return ok(pushed) ? push_formatted(no_line_break, format, arguments) : pushed;
    } catch (const std::bad_alloc&) {
        return result::internal_failure;
    }
}

// Hands the stack to the sink piece by piece, as one text without a line end.
template <typename Sink>
void for_each_piece(std::string_view prefix, flush_order order, Sink sink) {
    const std::size_t count = state.messages.size();
    bool breaks = false;
    for (std::size_t i = 0; i < count; ++i) {
        const auto& message = state.messages[order == flush_order::newest_first ? count - 1 - i : i];
        const bool last = i + 1 == count;
        const bool prefixed = (message.flags & no_prefix) == 0 && !prefix.empty();
        const bool ends_line = (message.flags & no_line_break) == 0;
        const std::string_view whole = std::string_view(state.message_texts).substr(message.offset, message.size);
        if (breaks && !(last && whole.empty() && !prefixed)) {
            sink("\n");
        }
        if (prefixed) {
            sink(prefix);
        }
        sink(ends_line || last ? without_line_end(whole) : whole);
        breaks = ends_line;
    }
}

void print_messages_on_console(log_level level, std::string_view prefix, flush_order order) {
    begin_console_line(level);
    state.line.clear();
    for_each_piece(prefix, order, [level](std::string_view piece) {
        state.line.append(piece);
        if (state.line.size() >= console_block_size) {
            write_console(level, state.line);
            state.line.clear();
        }
    });
    state.line.push_back('\n');
    write_console(level, state.line);
}

void print_messages_in_file(log_level level, std::string_view prefix, flush_order order) {
    begin_file_line(level);
    for_each_piece(prefix, order, [](std::string_view piece) { append_file({piece}); });
    append_file({"\n"});
}

}  // namespace

void log_start(console& console, clock& clock, system_errors& errors) {
    log_stop();
    state.console = &console;
    state.clock = &clock;
    state.errors = &errors;
    state.utc_offset = clock.utc_offset();
    state.utc_suffix = suffix_of(state.utc_offset);
    state.messages.reserve(first_message_capacity);
}

void log_stop() {
    log_flush();
    state = logging_state();
}

result open_log_file(const char* path) {
    if (missing_parameter(path, "log_file_path")) {
        return result::internal_failure;
    }
    if (!open_to_append(path, state.file)) {
        return result::io_failure;
    }
    state.file_buffer.reserve(file_buffer_size + file_buffer_size / 8);
    return result::success;
}

void set_console_threshold(log_level level) {
    state.console_threshold = level;
}

void set_file_threshold(log_level level) {
    state.file_threshold = level;
}

void log_flush() {
    write_out(state.file_buffer.size());
}

std::int64_t current_time() {
    return state.clock == nullptr ? 0 : state.clock->now();
}

std::int32_t local_time_offset() {
    return state.utc_offset;
}

std::optional<std::int64_t> local_end_of_day(const calendar_day& day) {
    return state.clock == nullptr ? std::nullopt : state.clock->end_of_day(day);
}

system_errors& os_errors() {
    return *state.errors;
}

bool console_enabled(log_level level) {
    return state.console != nullptr && admits(state.console_threshold, level);
}

bool file_enabled(log_level level) {
    return state.file != nullptr && admits(state.file_threshold, level);
}

bool log_enabled(log_level level) {
    return console_enabled(level) || file_enabled(level);
}

void log_text(log_level level, std::string_view text) {
    log_to_console(level, text);
    if (file_enabled(level)) {
        write_file_line(level, without_line_end(text));
    }
}

void log_to_console(log_level level, std::string_view text) {
    if (console_enabled(level)) {
        write_console_line(level, without_line_end(text));
    }
}

void log_at(log_level level, const char* format, ...) {
    if (!log_enabled(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    log_text(level, format_message(format, arguments));
    va_end(arguments);
}

void log_to_file(log_level level, const char* format, ...) {
    if (!file_enabled(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    write_file_line(level, without_line_end(format_message(format, arguments)));
    va_end(arguments);
}

void write_console(log_level level, std::string_view text) {
    if (console_enabled(level)) {
        state.console->write(console_stream::error, text);
    }
}

void write_console(log_level level, std::string_view text, colour foreground) {
    if (console_enabled(level)) {
        write_console_always(text, foreground);
    }
}

void write_console_always(std::string_view text, colour foreground) {
    if (state.console == nullptr) {
        return;
    }
    state.console->set_colour(console_stream::error, foreground);
    state.console->write(console_stream::error, text);
    state.console->reset_colour(console_stream::error);
}

void write_file(log_level level, std::string_view text) {
    if (file_enabled(level)) {
        append_file({text});
    }
}

bool missing_parameter(const void* pointer, const char* name) {
    if (pointer != nullptr) {
        return false;
    }
    log_at(log_level::error, "Internal parameter %s is null.", name);
    return true;
}

result push_text(std::uint32_t flags, std::string_view text) {
    const std::size_t offset = state.message_texts.size();
    try {
        state.message_texts.append(text);
        state.messages.push_back({offset, text.size(), flags});
    } catch (const std::bad_alloc&) {
        state.message_texts.resize(offset);
        return result::internal_failure;
    }
    return result::success;
}

result push_message(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push_formatted(0, format, arguments);
    va_end(arguments);
    return pushed;
}

result push_message_flags(std::uint32_t flags, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push_formatted(flags, format, arguments);
    va_end(arguments);
    return pushed;
}

result push_os_error(std::uint32_t code, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push_os_error_formatted(code, format, arguments);
    va_end(arguments);
    return pushed;
}

result push_last_os_error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const result pushed = push_os_error_formatted(os_errors().last(), format, arguments);
    va_end(arguments);
    return pushed;
}

void flush_messages(log_level level, std::string_view prefix, flush_order order) {
    if (state.messages.empty()) {
        return;
    }
    try {
        if (console_enabled(level)) {
            print_messages_on_console(level, prefix, order);
        }
        if (file_enabled(level)) {
            print_messages_in_file(level, prefix, order);
        }
    } catch (const std::bad_alloc&) {
        clear_messages();
        log_text(level,
                 "An error in application occurred but internal memory management error made it impossible to "
                 "print verbose error information.\n\n");
        return;
    }
    clear_messages();
}

std::string take_messages(flush_order order) {
    std::string text;
    for_each_piece("", order, [&text](std::string_view piece) { text += piece; });
    clear_messages();
    return text;
}

void clear_messages() {
    state.messages.clear();
    state.message_texts.clear();
}

void log_hex(log_level level, byte_view bytes) {
    if (bytes.empty()) {
        log_at(log_level::warning, "Could not dump buffer to log file as hex string - buffer size is 0.");
        return;
    }
    if (file_enabled(level)) {
        write_file(level, upper_hex(bytes) + '\n');
    }
}

void print_hex(byte_view bytes) {
    if (bytes.empty()) {
        log_at(log_level::warning, "Could not print buffer as hex string - buffer size is 0.");
        return;
    }
    if (log_enabled(log_level::trace)) {
        log_text(log_level::trace, upper_hex(bytes));
    }
}

void dump_at_level(log_level level, byte_view data) {
    constexpr std::size_t bytes_per_line = 32;
    if (log_enabled(level)) {
        hex_dump(data, bytes_per_line, 0, [level](std::string_view line) { log_text(level, line); });
    }
}

void dump_titled(log_level level, const char* title, byte_view data) {
    log_at(level, "%s:", title);
    dump_at_level(level, data);
}

}  // namespace vellum
