#include "config/device_id_text.h"

#include "base/text.h"
#include "config/device_id.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

// 0 to 15, or 16 for what is no digit.
constexpr std::uint8_t digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<std::uint8_t>(c - 'a' + 10);
    }
    return c >= 'A' && c <= 'F' ? static_cast<std::uint8_t>(c - 'A' + 10) : 16;
}

result refuse(finding_id id, const char* reason, std::string_view value) {
    report_text(id, reason).field("value", value);
    return result::invalid;
}

}  // namespace

result check_device_id_charset(const std::string& text) {
    if (text.size() > max_device_id_literal) {
        return refuse("device-id-text-too-long"_id,
                      "Could not check if Device ID has valid character set. Device ID too big.", text);
    }
    for (const char& c : text) {
        if (!is_device_id_character(c)) {
            report(
                "device-id-character-invalid"_id,
                "Device ID - invalid character: [%s] in provided string: [%s]. Only allowed characters are: alphanumeric [0-9a-zA-Z], dots [.], dashes [-] and underscores [_].",
                shown_text({&c, 1}).c_str(), shown_text(text).c_str())
                .field("value", text)
                .field("offset", static_cast<std::size_t>(&c - text.data()));
            return result::invalid;
        }
    }
    return result::success;
}

result hex_string_to_bytes(std::string_view hex, std::span<std::uint8_t> out, std::size_t& size) {
    if (hex.size() % 2 != 0) {
        return refuse("device-id-blob-odd-length"_id, "Could not convert hex string: provided value is odd length.",
                      hex);
    }
    if (hex.size() / 2 > out.size()) {
        return refuse("device-id-blob-too-long"_id, "Could not convert hex string: provided value is too long.", hex);
    }
    if (hex.empty()) {
        return refuse("device-id-blob-empty"_id, "Could not convert hex string: provided value is too short.", hex);
    }
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const std::uint8_t high = digit_value(hex[i]);
        const std::uint8_t low = digit_value(hex[i + 1]);
        if (high > 15 || low > 15) {
            return refuse("device-id-blob-not-hexadecimal"_id, "Hex string must contain values in range 0-9A-F.",
                          hex);
        }
        out[i / 2] = static_cast<std::uint8_t>(high << 4 | low);
    }
    size = hex.size() / 2;
    return result::success;
}

}  // namespace vellum
