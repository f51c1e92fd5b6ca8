#include "config/ini_file.h"

#include <ini.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// The library sees one line a call, so its line numbers are those of the file.
struct ini_source {
    std::string_view rest;
    int line = 0;
    int refused_line = 0;
    std::size_t filled_room = 0;  // of the last call, when its line left no room
    bool out_of_memory = false;
    std::vector<ini_parameter> parameters;
};

std::string_view take_line(ini_source& source) {
    std::string_view line = source.rest.substr(0, source.rest.find('\n'));
    source.rest.remove_prefix(std::min(line.size() + 1, source.rest.size()));
    ++source.line;
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

// Ends the reading: nothing from this line on counts.
void refuse_line(ini_source& source) {
    source.refused_line = source.line;
    source.rest = {};
}

// The library's reader: one line in `out`, without its end; null at the end of the file and at a line that the
// library would cut.
char* read_line(char* out, int room_given, void* stream) {
    ini_source& source = *static_cast<ini_source*>(stream);
    const auto room = static_cast<std::size_t>(std::max(room_given, 0));
    const std::size_t filled_room = std::exchange(source.filled_room, 0);
    if (filled_room != 0 && room != filled_room) {
        return nullptr;  // a library that grows its buffer asks for the rest of a line that is whole
    }
    if (source.rest.empty()) {
        return nullptr;
    }
    const std::string_view line = take_line(source);
    if (line.size() >= std::min(room, ini_line_limit) || line.find('\0') != std::string_view::npos) {
        refuse_line(source);
        return nullptr;
    }
    *std::copy(line.begin(), line.end(), out) = '\0';
    source.filled_room = line.size() + 1 == room ? room : 0;
    return out;
}

// The library's handler. It only collects: a parameter may stand behind a malformed line, which the library reports
// at the end. No exception may pass through the library's frames.
int collect(void* user, const char* section, const char* key, const char* value) {
    ini_source& source = *static_cast<ini_source*>(user);
    if (key == nullptr) {
        return 1;  // a library that announces sections
    }
    if (value == nullptr) {
        refuse_line(source);  // a library that takes keys without a value
        return 1;
    }
    try {
        source.parameters.push_back({source.line, section, key, value});
    } catch (const std::exception&) {
        source.out_of_memory = true;
        source.rest = {};
    }
    return 1;
}

int first_of(int syntax_error, int refused_line) {
    return syntax_error > 0 && (refused_line == 0 || syntax_error < refused_line) ? syntax_error : refused_line;
}

}  // namespace

result read_ini_file(const std::string& path, ini_content& out) {
    std::string text;
    const file_read read = read_bounded(path, ini_file_limit, text);
    if (read.how == file_read::missing || read.how == file_read::not_opened || read.how == file_read::not_regular) {
        report("config-file-missing"_id, "Configuration file does not exist: %s.", shown_text(path).c_str())
            .field("file", path);
        return result::invalid;
    }
    RETURN_IF_FAILED(report_read(read, path, ini_file_limit));
    ini_source source;
    source.rest = text;
    if (source.rest.starts_with(byte_order_mark)) {
        source.rest.remove_prefix(byte_order_mark.size());
    }
    const int status = ini_parse_stream(read_line, &source, collect, &source);
    if (status < 0 || source.out_of_memory) {
        report("config-file-no-memory"_id, "Not enough memory to read file \"%s\".", shown_text(path).c_str())
            .field("file", path);
        return result::internal_failure;
    }
    out.bad_line = first_of(status, source.refused_line);
    out.parameters = std::move(source.parameters);
    std::erase_if(out.parameters, [&](const ini_parameter& parameter) {
        return out.bad_line != 0 && parameter.line >= out.bad_line;
    });
    return result::success;
}

}  // namespace vellum
