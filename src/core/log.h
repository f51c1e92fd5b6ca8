// All output of the program: two sinks (console and log file), each with its own threshold, and the stack of
// deferred messages that checks push and that is printed under a stage's result line.
//
// The logging state is the process's one global: log_start() must come first and log_stop() last. Levels
// admit a message when the sink's threshold is at or above the message's level; threshold off silences a sink.
// The console form goes to standard error, unbuffered; the file is buffered and written out by log_flush(),
// by a full buffer and by log_stop(). A message that ends in a line break prints one line end, not two.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/bytes.h"
#include "core/result.h"
#include "platform/console.h"

namespace vellum {

class clock;
struct calendar_day;
class system_errors;

enum class log_level : std::int32_t { off = 0, error = 1, warning = 2, brief = 3, info = 4, debug = 5, trace = 6 };

// Formats take the standard's conversions on every system. One compiler knows that kind under a name of its own, as
// "printf" means to it what the C library of the system takes.
#ifdef __clang__
#define VELLUM_PRINTF(format_index, first_argument) __attribute__((format(printf, format_index, first_argument)))
#else
#define VELLUM_PRINTF(format_index, first_argument) __attribute__((format(gnu_printf, format_index, first_argument)))
#endif

// Start and stop ------------------------------------------------------------------------------------------------

// Binds the state to the services (which must outlive it), takes the time-zone offset, and sets the console
// threshold to info and the file threshold to off. An offset of 100 hours or more is logged, and timestamps come
// without a suffix.
void log_start(console& console, clock& clock, system_errors& errors);

// Writes out and closes the log file, drops the deferred messages and unbinds the services.
void log_stop();

// Opens the file for appending, creating it if missing. Fails with io_failure, also for a FIFO, which blocks its
// writer when nobody reads; says nothing itself.
result open_log_file(const char* path);

void set_console_threshold(log_level level);
void set_file_threshold(log_level level);

// Hands the buffered part of the log file to the system.
void log_flush();

// The clock and time zone of this run; 0 when logging has not started.
std::int64_t current_time();
std::int32_t local_time_offset();

// The last second of a day of the local calendar, by the zone's rules for that day (platform/clock.h); nothing when
// logging has not started.
std::optional<std::int64_t> local_end_of_day(const calendar_day& day);

// The system's error codes; only between log_start() and log_stop().
system_errors& os_errors();

// Direct messages -----------------------------------------------------------------------------------------------

// Whether a message of this level reaches any sink, or the given one.
bool log_enabled(log_level level);
bool console_enabled(log_level level);
bool file_enabled(log_level level);

// A message on both sinks: bare on the console (errors and warnings with a coloured word in front), in the file
// behind timestamp and level tag.
void log_at(log_level level, const char* format, ...) VELLUM_PRINTF(2, 3);

// The same for a finished text.
void log_text(log_level level, std::string_view text);

// On the console alone, and in the file alone.
void log_to_console(log_level level, std::string_view text);
void log_to_file(log_level level, const char* format, ...) VELLUM_PRINTF(2, 3);

// Raw writes: no prefix, no line break added. They obey the sink's threshold for `level`.
void write_console(log_level level, std::string_view text);
void write_console(log_level level, std::string_view text, colour foreground);
void write_file(log_level level, std::string_view text);

// The coloured write whatever the threshold; by itself only for a log file that cannot be opened.
void write_console_always(std::string_view text, colour foreground);

// Logs "Internal parameter NAME is null." when the pointer is null, and says whether it is.
bool missing_parameter(const void* pointer, const char* name);

// Deferred messages ---------------------------------------------------------------------------------------------

inline constexpr std::uint32_t no_line_break = 1U << 0;  // no line break after this entry
inline constexpr std::uint32_t no_prefix = 1U << 1;      // no indentation before this entry

enum class flush_order { newest_first, oldest_first };

result push_message(const char* format, ...) VELLUM_PRINTF(1, 2);
result push_message_flags(std::uint32_t flags, const char* format, ...) VELLUM_PRINTF(2, 3);

// A finished text, for lines that no format makes (hex dumps).
result push_text(std::uint32_t flags, std::string_view text);

// Pushes the message and the system's text for `code` so that, printed newest first, they read as one line:
// the message, then " Error: TEXT". The second form takes the code of the last failed system call.
result push_os_error(std::uint32_t code, const char* format, ...) VELLUM_PRINTF(2, 3);
result push_last_os_error(const char* format, ...) VELLUM_PRINTF(1, 2);

// Prints the whole stack as one message at `level` and empties it. An empty stack prints nothing.
void flush_messages(log_level level, std::string_view prefix, flush_order order);

// The stack as one text without a line end, which empties it.
std::string take_messages(flush_order order);

void clear_messages();

// Buffers -------------------------------------------------------------------------------------------------------

// Writes the buffer as upper-case hexadecimal digits, raw, as one line of the log file.
void log_hex(log_level level, byte_view bytes);

// The same text at trace on both sinks.
void print_hex(byte_view bytes);

// Writes a hex dump (32 bytes a line) at the level, error to trace.
void dump_at_level(log_level level, byte_view data);

// The dump under the title line "TITLE:".
void dump_titled(log_level level, const char* title, byte_view data);

}  // namespace vellum
