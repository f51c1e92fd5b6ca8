#include "firmware/version.h"

#include <array>
#include <string>

#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

struct supported_minors {
    std::uint8_t lowest = 0;
    std::uint8_t highest = 0;
    bool supported = false;
};

// Indexed by the major version.
constexpr std::array<supported_minors, 256> supported_versions = [] {
    std::array<supported_minors, 256> rows{};
    rows[0] = {1, 1, true};
    rows[1] = {0, 0, true};
    return rows;
}();

std::string version_text(std::size_t major, std::uint8_t minor) {
    return std::to_string(major) + '.' + std::to_string(minor);
}

// " [MAJOR.MINOR]" or " [MAJOR.MINOR-MAJOR.MINOR]" for every supported row, the highest major first.
std::string supported_list() {
    std::string list;
    for (std::size_t major = supported_versions.size(); major-- > 0;) {
        const supported_minors& row = supported_versions[major];
        if (row.supported) {
            list += list.empty() ? " [" : ", [";
            list += version_text(major, row.lowest);
            list += row.lowest == row.highest ? "]" : "-" + version_text(major, row.highest) + "]";
        }
    }
    return list;
}

void push_supported_versions(const firmware_version& version) {
    static_cast<void>(push_message("Actual KVR Version is [%hhu.%hhu]. Versions supported by this release:%s",
                                   version.major, version.minor, supported_list().c_str()));
}

// The advice reads on after the line that is pushed behind it.
void push_supported_minors(const firmware_version& version, const supported_minors& row) {
    static_cast<void>(push_message_flags(
        no_prefix, "%s", version.minor > row.highest ? " Please update the tool." : " Please update your platform."));
    if (row.lowest != row.highest) {
        static_cast<void>(push_message_flags(no_line_break,
                                             "KVR versions supported for this platform are: [%hhu.%hhu-%hhu.%hhu].",
                                             version.major, row.lowest, version.major, row.highest));
        return;
    }
    static_cast<void>(push_message_flags(no_line_break,
                                         "The only KVR version supported for this platform is [%hhu.%hhu].",
                                         version.major, row.lowest));
}

}  // namespace

result check_version(FirmwareCommandContext& context, bool bypass) {
    firmware_version version;
    if (const result got = get_version(context, version); !ok(got)) {
        static_cast<void>(push_message("Failed to retrieve Norvane(R) KVR version."));
        return got;
    }
    if (bypass) {
        push_supported_versions(version);
        static_cast<void>(push_message(
            "Not performing Norvane(R) KVR version compatibility check due to --bypass_version_check flag."));
        return result::success;
    }
    const supported_minors& row = supported_versions[version.major];
    if (row.supported && version.minor >= row.lowest && version.minor <= row.highest) {
        return result::success;
    }
    if (row.supported) {
        push_supported_minors(version, row);
    } else {
        push_supported_versions(version);
    }
    static_cast<void>(
        push_message("The Norvane(R) KVR version [%hhu.%hhu] on this platform is unsupported by this tool release.",
                     version.major, version.minor));
    return result::check_failed;
}

}  // namespace vellum
