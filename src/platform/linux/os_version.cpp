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

template <typename Value>
os_status give(const std::optional<Value>& part, Value& out) {
    if (!part) {
        return os_status(ENOENT);
    }
    out = *part;
    return os_status::success;
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

os_status linux_os_version::read_major(std::uint32_t& out) {
    return give(major_, out);
}

os_status linux_os_version::read_minor(std::uint32_t& out) {
    return give(minor_, out);
}

os_status linux_os_version::read_build(std::string& out) {
    return give(build_, out);
}

}  // namespace vellum
