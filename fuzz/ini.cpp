// The configuration file.
#include <algorithm>
#include <cctype>

#include "config/hotkey.h"
#include "config/ini_file.h"
#include "config/kxl_config.h"
#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

bool is_blank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// A further value may hold what begins a comment on a line of its own, and the library cuts its key, maybe behind a
// blank. It also leaves more room for the value than a line of its own does.
bool reads_back(const ini_parameter& parameter) {
    const std::string& value = parameter.value;
    for (std::size_t at = 1; at < value.size(); ++at) {
        if (value[at] == ';' && is_blank(value[at - 1])) {
            return false;
        }
    }
    const bool key_is_trimmed = parameter.key.empty() || !is_blank(parameter.key.back());
    return key_is_trimmed && parameter.key.size() + 1 + value.size() < ini_line_limit;
}

// Nothing when a parameter cannot stand on a line of its own.
std::optional<std::string> print(const ini_content& content) {
    std::string text;
    for (const ini_parameter& parameter : content.parameters) {
        if (!reads_back(parameter)) {
            return std::nullopt;
        }
        text += "[" + parameter.section + "]\n" + parameter.key + "=" + parameter.value + "\n";
    }
    return text;
}

void check_round_trip(const ini_content& content) {
    const std::optional<std::string> text = print(content);
    if (!text) {
        return;
    }
    ini_content again;
    demand(ok(read_ini_file(scratch().write("again.ini", *text), again)), "a file that is there is read");
    demand(again.bad_line == 0 && again.parameters.size() == content.parameters.size(),
           "what was read prints as a well-formed file");
    for (std::size_t i = 0; i < again.parameters.size(); ++i) {
        const ini_parameter& before = content.parameters[i];
        const ini_parameter& after = again.parameters[i];
        demand(before.section == after.section && before.key == after.key && before.value == after.value,
               "what was read prints and reads as the same");
    }
}

// The early look takes their values, the full one does not.
bool names_a_logging_key(const ini_content& content) {
    return std::any_of(content.parameters.begin(), content.parameters.end(), [](const ini_parameter& parameter) {
        return parameter.key == "FileLogPath" || parameter.key == "FileLogLevel";
    });
}

}  // namespace

void check(byte_view input) {
    const std::string path = scratch().write("kxl.ini", input);
    ini_content content;
    demand(ok(read_ini_file(path, content)) || input.size() > ini_file_limit, "a file that is there is read");
    for (const ini_parameter& parameter : content.parameters) {
        demand(content.bad_line == 0 || parameter.line < content.bad_line, "nothing behind a bad line counts");
    }
    check_round_trip(content);
    KxlConfig config;
    std::optional<std::string> log_path;
    std::optional<log_level> level;
    const bool early = ok(load_logging_config(path, log_path, level));
    if (ok(load_config(path, config))) {
        demand(content.bad_line == 0, "a configuration with a bad line is refused");
        demand(early || names_a_logging_key(content), "the early look refuses logging values alone");
        demand(config.seal.hotkey_length <= max_hotkey_keystrokes * key_record_size,
               "the firmware can hold the hotkey");
    }
}

}  // namespace vellum::fuzz
