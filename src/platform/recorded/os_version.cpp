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

template <typename Value>
os_status recorded_os_version::give(Value version::*part, Value& out) const {
    if (!version_) {
        return recorded_not_found;
    }
    out = *version_.*part;
    return os_status::success;
}

// Windows has called itself 10.0 since its build 10240; the third number of a Linux kernel never comes near that.
bool recorded_os_version::is_of_case_blind_system() const {
    constexpr std::size_t digits_of_build = 5;
    return version_ && version_->major_number == 10 && version_->minor_number == 0 &&
           version_->build.size() >= digits_of_build;
}

os_status recorded_os_version::read_major(std::uint32_t& out) {
    return give(&version::major_number, out);
}

os_status recorded_os_version::read_minor(std::uint32_t& out) {
    return give(&version::minor_number, out);
}

os_status recorded_os_version::read_build(std::string& out) {
    const bool too_long = version_ && version_->build.size() > max_os_build_text;
    return too_long ? recorded_no_room : give(&version::build, out);
}

}  // namespace vellum
