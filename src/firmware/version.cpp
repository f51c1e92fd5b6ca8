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

void add_supported_versions(finding_lines lines, const firmware_version& version) {
    lines.line("Actual KVR Version is [%hhu.%hhu]. Versions supported by this release:%s", version.major,
               version.minor, supported_list().c_str());
}

void add_supported_minors(finding_lines lines, const firmware_version& version, const supported_minors& row) {
    const char* const advice =
        version.minor > row.highest ? "Please update the tool." : "Please update your platform.";
    if (row.lowest != row.highest) {
        lines.line("KVR versions supported for this platform are: [%hhu.%hhu-%hhu.%hhu]. %s", version.major,
                   row.lowest, version.major, row.highest, advice);
    } else {
        lines.line("The only KVR version supported for this platform is [%hhu.%hhu]. %s", version.major, row.lowest,
                   advice);
    }
}

}  // namespace

result check_version(FirmwareCommandContext& context, bool bypass) {
    firmware_version version;
    if (const result got = get_version(context, version); !ok(got)) {
        report("kvr-version-unreadable"_id, "Failed to retrieve Norvane(R) KVR version.");
        return got;
    }
    if (bypass) {
        add_supported_versions(
            report("kvr-version-unchecked"_id,
                   "Not performing Norvane(R) KVR version compatibility check due to --bypass_version_check flag.")
                .field("actual", version_text(version.major, version.minor)),
            version);
        return result::success;
    }
    const supported_minors& row = supported_versions[version.major];
    if (row.supported && version.minor >= row.lowest && version.minor <= row.highest) {
        return result::success;
    }
    const finding_lines raised =
        report("kvr-version-unsupported"_id,
               "The Norvane(R) KVR version [%hhu.%hhu] on this platform is unsupported by this tool release.",
               version.major, version.minor)
            .field("expected", supported_list().substr(1))
            .field("actual", version_text(version.major, version.minor));
    if (row.supported) {
        add_supported_minors(raised, version, row);
    } else {
        add_supported_versions(raised, version);
    }
    return result::check_failed;
}

}  // namespace vellum
