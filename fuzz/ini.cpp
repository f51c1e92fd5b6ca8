// The configuration file.
#include "config/hotkey.h"
#include "config/ini_file.h"
#include "config/kxl_config.h"
#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

// Nothing when a line would be longer than the reader takes: a further value of a long key has less room of its own.
std::optional<std::string> print(const ini_content& content) {
    std::string text;
    for (const ini_parameter& parameter : content.parameters) {
        const std::string line = parameter.key + "=" + parameter.value;
        if (line.size() >= ini_line_limit) {
            return std::nullopt;
        }
        text += "[" + parameter.section + "]\n" + line + "\n";
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
        demand(early && content.bad_line == 0, "a configuration that is accepted passes the early look");
        demand(config.seal.hotkey_length <= max_hotkey_keystrokes * key_record_size,
               "the firmware can hold the hotkey");
    }
}

}  // namespace vellum::fuzz
