// Buffers in the log, as hexadecimal text and as dumps.
#pragma once

#include "base/bytes.h"
#include "core/log.h"

namespace vellum {

// Writes the buffer as upper-case hexadecimal digits, raw, as one line of the log file.
void log_hex(log_level level, byte_view bytes);

// The same text at trace on both sinks.
void print_hex(byte_view bytes);

// Writes a hex dump (32 bytes a line) at the level, error to trace.
void dump_at_level(log_level level, byte_view data);

// The dump under the title line "TITLE:".
void dump_titled(log_level level, const char* title, byte_view data);

}  // namespace vellum
