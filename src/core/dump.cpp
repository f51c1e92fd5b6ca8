#include "core/dump.h"

#include "base/text.h"

namespace vellum {

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
