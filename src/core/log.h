// All output of the program goes to two sinks, console and log file, each with its own threshold.
//
// The logging state is the process's one global, with what core/findings.h keeps: log_start() must come first and
// log_stop() last. Levels admit a message when the sink's threshold is at or above the message's level; threshold off
// silences a sink. The console form goes to standard error, unbuffered; the file is buffered and written out by
// log_flush(), by a full buffer and by log_stop(). A message that ends in a line break prints one line end, not two.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/format.h"
#include "base/result.h"
#include "platform/console.h"

namespace vellum {

class clock;
class system_errors;

enum class log_level : std::int32_t { off = 0, error = 1, warning = 2, brief = 3, info = 4, debug = 5, trace = 6 };

// Start and stop ------------------------------------------------------------------------------------------------

// Binds the state to the services (which must outlive it), takes the time-zone offset of the timestamps, and sets the
// console threshold to info and the file threshold to off. An offset of 100 hours or more is logged, and timestamps
// come without a suffix.
void log_start(console& console, clock& clock, system_errors& errors);

// Writes out and closes the log file, drops the deferred messages and unbinds the services.
void log_stop();

// Opens the file for appending, creating it if missing (core/log_file.h). Fails with io_failure; says nothing itself.
result open_log_file(const char* path);

void set_console_threshold(log_level level);
void set_file_threshold(log_level level);

// Hands the buffered part of the log file to the system.
void log_flush();

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

// What stands in front of a message, for one that is written in pieces behind it.
void begin_console_line(log_level level);
void begin_file_line(log_level level);

// The coloured write whatever the threshold; by itself only for a log file that cannot be opened.
void write_console_always(std::string_view text, colour foreground);

// Logs "Internal parameter NAME is null." when the pointer is null, and says whether it is.
bool missing_parameter(const void* pointer, const char* name);

}  // namespace vellum
