#include "core/os_error.h"

#include <array>
#include <cstdio>
#include <new>

#include "core/log.h"
#include "platform/system_errors.h"

namespace vellum {
namespace {

system_errors* bound = nullptr;

std::string hexadecimal(unsigned long code) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%lx", code);
    return text.data();
}

}  // namespace

void bind_system_errors(system_errors* errors) {
    bound = errors;
}

std::string os_error_text(os_status status) {
    const auto code = static_cast<unsigned long>(code_of(status));
    try {
        if (auto text = bound == nullptr ? std::nullopt : bound->text(status)) {
            log_at(log_level::debug, "WinAPI error: 0x%lx, string representation: %s", code, text->c_str());
            return *std::move(text);
        }
    } catch (const std::bad_alloc&) {
        log_at(log_level::error,
               "Failed to allocate buffer for string representation of following WinAPI error: 0x%lx.", code);
        return "Could not generate error message, an internal error occurred.";
    }
    log_at(log_level::error, "FormatMessageFailed. Error code: 0x%lx.", code);
    return hexadecimal(code);
}

}  // namespace vellum
