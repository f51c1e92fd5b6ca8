#include "platform/linux/os_version.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>

#include "base/text.h"

namespace vellum {
namespace {

std::string running_release() {
    utsname system{};
    return ::uname(&system) == 0 ? system.release : "";
}

// Takes the digits that the text begins with and the point behind them.
std::string_view take_part(std::string_view& text) {
    const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string_view digits = text.substr(0, length);
    text.remove_prefix(length);
    if (text.starts_with('.')) {
        text.remove_prefix(1);
    } else {
        text = {};
    }
    return digits;
}

}  // namespace

linux_os_version::linux_os_version() : linux_os_version(running_release()) {}

linux_os_version::linux_os_version(std::string_view release)
    : major_(parse_decimal<std::uint32_t>(take_part(release))),
      minor_(parse_decimal<std::uint32_t>(take_part(release))) {
    const std::string_view build = take_part(release);
    if (!build.empty()) {
        build_ = build;
    }
}

std::uint32_t linux_os_version::read_number(const char* name, std::uint32_t& out) {
    const std::string_view wanted = name;
    const std::optional<std::uint32_t> value = wanted == os_major_version_name   ? major_
                                               : wanted == os_minor_version_name ? minor_
                                                                                 : std::nullopt;
    if (!value) {
        return ENOENT;
    }
    out = *value;
    return 0;
}

std::uint32_t linux_os_version::read_text(const char* name, std::size_t capacity, std::string& out) {
    if (std::string_view(name) != os_build_name || !build_) {
        return ENOENT;
    }
    if (build_->size() >= capacity) {
        return ERANGE;
    }
    out = *build_;
    return 0;
}

}  // namespace vellum
