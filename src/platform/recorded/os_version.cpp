#include "platform/recorded/os_version.h"

#include "base/text.h"
#include "platform/recorded/system_errors.h"

namespace vellum {

result recorded_os_version::load(record_directory& record) {
    std::optional<std::string> text;
    const result read = record.read("os_version", text);
    if (!ok(read) || !text) {
        return read;
    }
    std::string_view rest = trim(*text);
    const auto major_number = parse_decimal<std::uint32_t>(take_until(rest, '.'));
    const auto minor_number = parse_decimal<std::uint32_t>(take_until(rest, '.'));
    if (!major_number || !minor_number || rest.empty() || rest.find_first_not_of("0123456789") != rest.npos) {
        return record.malformed("os_version", "does not hold major.minor.build");
    }
    version_ = {*major_number, *minor_number, std::string(rest)};
    return result::success;
}

// Windows has called itself 10.0 since its build 10240; the third number of a Linux kernel never comes near that.
bool recorded_os_version::is_of_case_blind_system() const {
    constexpr std::size_t digits_of_build = 5;
    return version_ && version_->major_number == 10 && version_->minor_number == 0 &&
           version_->build.size() >= digits_of_build;
}

std::uint32_t recorded_os_version::read_number(const char* name, std::uint32_t& out) {
    const std::string_view wanted = name;
    if (!version_ || (wanted != os_major_version_name && wanted != os_minor_version_name)) {
        return recorded_not_found;
    }
    out = wanted == os_major_version_name ? version_->major_number : version_->minor_number;
    return 0;
}

std::uint32_t recorded_os_version::read_text(const char* name, std::size_t capacity, std::string& out) {
    if (!version_ || std::string_view(name) != os_build_name) {
        return recorded_not_found;
    }
    if (version_->build.size() >= capacity) {
        return recorded_no_room;
    }
    out = version_->build;
    return 0;
}

}  // namespace vellum
