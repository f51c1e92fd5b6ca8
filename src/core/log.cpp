#include "core/log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <ctime>
#include <string>

#include "base/text.h"
#include "core/findings.h"
#include "core/log_file.h"
#include "core/log_silence.h"
#include "core/os_error.h"
#include "core/times.h"
#include "platform/clock.h"

namespace vellum {
namespace {

constexpr std::size_t tag_width = 10;

struct logging_state {
    console* output = nullptr;
    clock* time = nullptr;
    log_level console_threshold = log_level::info;
    log_level file_threshold = log_level::off;
    std::int32_t utc_offset = 0;
    std::string utc_suffix;
    log_file file;

    // The timestamp of the last second that was asked for.
    std::int64_t stamped_second = 0;
    std::string stamp;

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

// The time-zone suffix of every timestamp; empty for an offset that has none, which is logged.
std::string suffix_of(std::int32_t utc_offset) {
    const std::optional<std::string> suffix = timezone_suffix(utc_offset);
    if (!suffix) {
        log_at(log_level::error, "Could not generate timezone string representation of given offset in seconds %d.",
               utc_offset);
    }
    return suffix.value_or("");
}

// Local time of now, "%FT%T" and the time-zone suffix; formatted again only when the second changes. The pattern is
// written out, as not every C library knows its short forms. Logs nothing: it is part of every line that is logged.
const std::string& timestamp() {
    const std::int64_t now = state.time->now();
    if (!state.stamp.empty() && now == state.stamped_second) {
        return state.stamp;
    }
    std::int64_t local = 0;
    const bool fits = !__builtin_add_overflow(now, std::int64_t{state.utc_offset}, &local);
    const std::int64_t seconds = fits ? local : now;
    std::array<char, 50> text{};
    std::size_t length = 0;
    if (const std::optional<std::tm> time = utc_calendar(seconds)) {
        length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &*time);
    }
    state.stamp.assign(text.data(), length).append(state.utc_suffix);
    state.stamped_second = now;
    return state.stamp;
}

// A log file that no longer takes bytes is said once on the console, and the file sink stops.
void stop_file_unless(bool written) {
    if (!written) {
        state.file_threshold = log_level::off;
        log_text(log_level::error, "Cannot write to the log file. Logging to file stops here.");
    }
}

void append_file(std::initializer_list<std::string_view> pieces) {
    stop_file_unless(state.file.append(pieces));
}

void write_file_line(log_level level, std::string_view text) {
    begin_file_line(level);
    append_file({text, "\n"});
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

}  // namespace

void log_start(console& console, clock& clock, system_errors& errors) {
    log_stop();
    state.output = &console;
    state.time = &clock;
    bind_system_errors(&errors);
    state.utc_offset = clock.utc_offset();
    state.utc_suffix = suffix_of(state.utc_offset);
}

void log_stop() {
    log_flush();
    clear_messages();
    bind_system_errors(nullptr);
    state = logging_state();
}

result open_log_file(const char* path) {
    return missing_parameter(path, "log_file_path") ? result::internal_failure : state.file.open(path);
}

void set_console_threshold(log_level level) {
    state.console_threshold = level;
}

void set_file_threshold(log_level level) {
    state.file_threshold = level;
}

log_silence::log_silence() : console_threshold_(state.console_threshold), file_threshold_(state.file_threshold) {
    set_console_threshold(log_level::off);
    set_file_threshold(log_level::off);
}

log_silence::~log_silence() {
    set_console_threshold(console_threshold_);
    set_file_threshold(file_threshold_);
}

void log_flush() {
    stop_file_unless(state.file.flush());
}

bool console_enabled(log_level level) {
    return state.output != nullptr && admits(state.console_threshold, level);
}

bool file_enabled(log_level level) {
    return state.file.is_open() && admits(state.file_threshold, level);
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
        state.output->write(console_stream::error, text);
    }
}

void write_console(log_level level, std::string_view text, colour foreground) {
    if (console_enabled(level)) {
        write_console_always(text, foreground);
    }
}

void write_console_always(std::string_view text, colour foreground) {
    if (state.output == nullptr) {
        return;
    }
    state.output->set_colour(console_stream::error, foreground);
    state.output->write(console_stream::error, text);
    state.output->reset_colour(console_stream::error);
}

void write_file(log_level level, std::string_view text) {
    if (file_enabled(level)) {
        append_file({text});
    }
}

// The coloured word of an error or warning, which the message and one line end follow.
void begin_console_line(log_level level) {
    if (level == log_level::error || level == log_level::warning) {
        const bool error = level == log_level::error;
        write_console(level, error ? "ERROR" : "WARNING", error ? colour::red : colour::yellow);
        write_console(level, ": ");
    }
}

// "%s %-10s ", which the message and one line end follow.
void begin_file_line(log_level level) {
    constexpr std::string_view padding = "          ";
    const std::string_view tag = level_tag(level);
    if (file_enabled(level)) {
        append_file({timestamp(), " ", tag, padding.substr(std::min(tag.size(), tag_width)), " "});
    }
}

bool missing_parameter(const void* pointer, const char* name) {
    if (pointer != nullptr) {
        return false;
    }
    log_at(log_level::error, "Internal parameter %s is null.", name);
    return true;
}

}  // namespace vellum
