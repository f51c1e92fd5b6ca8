#include "tests/support/log_session.h"

#include <string_view>
#include <utility>

#include "base/text.h"
#include "core/findings.h"

namespace vellum::test {

void fake_console::set_colour(console_stream, colour value) {
    if (!show_colours) {
        return;
    }
    switch (value) {
        case colour::grey: text += "<grey>"; break;
        case colour::green: text += "<green>"; break;
        case colour::red: text += "<red>"; break;
        case colour::yellow: text += "<yellow>"; break;
    }
}

void fake_console::reset_colour(console_stream) {
    text += show_colours ? "</>" : "";
}

std::optional<std::string> fake_system_errors::text(os_status status) {
    const std::uint32_t code = code_of(status);
    if (code >= 0x1000) {
        return std::nullopt;
    }
    return "system text " + std::to_string(code);
}

log_session::log_session(log_level threshold) {
    log_start(console, clock, errors);
    set_console_threshold(threshold);
}

log_session::~log_session() {
    log_stop();
}

std::string log_session::logged() {
    return std::exchange(console.text, {});
}

std::string log_session::pushed() {
    std::string upwards;
    const std::string printed = take_messages(flush_order::newest_first);
    for (std::string_view rest = printed; !rest.empty();) {
        upwards.insert(0, std::string(take_until(rest, '\n')) + '\n');
    }
    return upwards;
}

}  // namespace vellum::test
