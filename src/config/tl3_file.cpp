#include "config/tl3_file.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr std::string_view header_lines[] = {
    "sep=,",
    "KVR TL3 Seal File,version,1",
    "Seal Date & Time,Device ID Type,Device ID,Seal Instance ID,TL3 Sign Algorithm,Seal Integrity Data",
};

struct field {
    std::string Tl3SealIdentity::*text;
    std::size_t capacity;  // one more than the longest text
};

constexpr field fields[] = {
    {&Tl3SealIdentity::seal_date_time, 32},    {&Tl3SealIdentity::device_id_type, 64},
    {&Tl3SealIdentity::device_id, 131},        {&Tl3SealIdentity::seal_instance_id, 16},
    {&Tl3SealIdentity::signing_algorithm, 64}, {&Tl3SealIdentity::seal_integrity_data, 65},
};

std::string with_plain_line_ends(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool before_line_feed = i + 1 < bytes.size() && bytes[i + 1] == '\n';
        if (bytes[i] != '\r' || !before_line_feed) {
            text.push_back(bytes[i]);
        }
    }
    return text;
}

void skip_blanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
}

// Takes at least one and fewer than `capacity` characters, up to one of `stops`, which stays, or the end.
[[nodiscard]] bool take_field(std::string_view& text, std::string_view stops, std::size_t capacity,
                              std::string& out) {
    const std::string_view taken = text.substr(0, text.find_first_of(stops));
    if (taken.empty() || taken.size() >= capacity || taken.find('\0') != std::string_view::npos) {
        return false;
    }
    out = taken;
    text.remove_prefix(taken.size());
    return true;
}

[[nodiscard]] bool scan_header(std::string_view& text) {
    return std::all_of(std::begin(header_lines), std::end(header_lines), [&](std::string_view expected) {
        std::string line;
        const bool equal = take_field(text, "\n", expected.size() + 1, line) && line == expected;
        skip_blanks(text);
        return equal;
    });
}

[[nodiscard]] bool scan_row(std::string_view& text, Tl3SealIdentity& out) {
    for (const field& each : fields) {
        const bool last = &each == std::end(fields) - 1;
        if (!take_field(text, last ? ",\n" : ",", each.capacity, out.*each.text)) {
            return false;
        }
        if (!last && text.empty()) {
            return false;
        }
        text.remove_prefix(last ? 0 : 1);
    }
    return true;
}

// A row that ends with the bytes that were read, and not before, may go on behind them when there are more.
[[nodiscard]] bool scan(const std::string& bytes, Tl3SealIdentity& out) {
    const std::string text = with_plain_line_ends(bytes);
    std::string_view rest = text;
    return scan_header(rest) && scan_row(rest, out) && !(rest.empty() && bytes.size() > tl3_scanned_size);
}

}  // namespace

result read_tl3_identity_file(const std::string& path, Tl3SealIdentity& out) {
    out = {};
    if (path.empty()) {
        report("tl3-file-not-given"_id,
               "Could not open TL3SealIdentityVerificationFile, file path is empty or it was not provided.")
            .field("key", "TL3SealIdentityVerificationFile");
        return result::check_failed;
    }
    std::string bytes;
    if (!ok(report_read(read_beginning(path, tl3_scanned_size + 1, bytes), path, tl3_scanned_size))) {
        report("tl3-file-unreadable"_id, "Could not open TL3SealIdentityVerificationFile \"%s\".",
               shown_text(path).c_str())
            .field("file", path);
        return result::check_failed;
    }
    if (!scan(bytes, out)) {
        out = {};
        report("tl3-file-malformed"_id, "TL3SealIdentityVerificationFile \"%s\" has invalid syntax.",
               shown_text(path).c_str())
            .field("file", path);
        return result::check_failed;
    }
    return result::success;
}

}  // namespace vellum
