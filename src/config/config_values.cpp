#include "config/config_values.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "base/bytes.h"
#include "base/text.h"
#include "config/device_id.h"
#include "config/hotkey.h"
#include "core/findings.h"

namespace vellum {
namespace {

constexpr int min_interval_seconds = 15;

void log_set(const char* key, std::string_view value) {
    log_at(log_level::debug, "[Ini Config] Set %s: %s", key, shown_text(value).c_str());
}

void store_hotkey(byte_view bytes, seal_configuration& out) {
    out.hotkey.fill(0);
    std::copy(bytes.begin(), bytes.end(), out.hotkey.begin());
}

[[nodiscard]] bool encode_hotkey(const char* key, const std::string& value, seal_configuration& out) {
    const auto encoded = parse_hotkey_sequence(value);
    if (!encoded) {
        report("config-hotkey-unparsable"_id, "Provided invalid config parameter %s. Cannot parse \"%s\" sequence.",
               key, shown_text(value).c_str())
            .field("key", key)
            .field("value", value);
        return false;
    }
    if (encoded->size() > max_hotkey_keystrokes * key_record_size) {
        report("config-hotkey-length"_id, "Provided invalid config parameter %s, it must contain 1-7 keystrokes.",
               key)
            .field("key", key)
            .field("value", value);
        return false;
    }
    store_hotkey(*encoded, out);
    out.hotkey_length = static_cast<std::uint32_t>(encoded->size());
    return true;
}

}  // namespace

bool parse_flag(const char* key, const std::string& value, std::uint8_t& out) {
    if (value != "0" && value != "1") {
        report("config-flag-invalid"_id, "Invalid parameter %s value: %s, expected: [0, 1].", key,
               shown_text(value).c_str())
            .field("key", key)
            .field("value", value);
        return false;
    }
    out = value == "1" ? 1 : 0;
    log_set(key, out == 1 ? "Enabled" : "Disabled");
    return true;
}

bool parse_device_id_source(const char* key, const std::string& value, DeviceIdSource& out) {
    out = device_id_source_of(value);
    if (out == DeviceIdSource::unknown) {
        report("config-device-id-source-invalid"_id,
               "Invalid parameter %s value. Check user guide for allowed values.", key)
            .field("key", key)
            .field("value", value);
        return false;
    }
    log_set(key, value);
    return true;
}

bool parse_algorithm(const char* key, const std::string& value, signature_scheme& out) {
    const signature_scheme algorithm = signature_scheme_id(value);
    if (algorithm == signature_scheme::unknown) {
        report("config-algorithm-unsupported"_id,
               "Invalid parameter %s. Only supported seal signing algorithm are %s, %s", key,
               signature_scheme_name(signature_scheme::sha256_rsa_2048_pkcs1),
               signature_scheme_name(signature_scheme::sha256_null_encryption))
            .field("key", key)
            .field("value", value);
        return false;
    }
    out = algorithm;
    log_set(key, value);
    return true;
}

bool parse_path(const char* key, const std::string& value, std::string& out) {
    if (value.size() >= config_path_capacity) {
        report("config-path-length"_id, "Invalid parameter %s. Path should be 1-%i characters long.", key,
               static_cast<int>(config_path_capacity))
            .field("key", key)
            .field("value", value)
            .field("size", value.size())
            .field("limit", config_path_capacity - 1);
        return false;
    }
    out = value;
    log_set(key, value);
    return true;
}

bool parse_hotkey(const char* key, const std::string& value, seal_configuration& out) {
    if (value.size() > max_hotkey_text) {
        report("config-hotkey-too-long"_id, "Invalid parameter %s length. It should be 0-%d characters long.", key,
               static_cast<int>(max_hotkey_text))
            .field("key", key)
            .field("value", value)
            .field("size", value.size())
            .field("limit", max_hotkey_text);
        return false;
    }
    store_hotkey(as_bytes(value), out);
    out.hotkey_length = 0;
    if (!value.empty() && !encode_hotkey(key, value, out)) {
        return false;
    }
    log_set(key, value);
    return true;
}

bool parse_interval(const char* key, const std::string& value, std::uint32_t& out) {
    if (value.empty()) {
        report("config-interval-empty"_id, "Parameter %s can't be empty.", key).field("key", key);
        return false;
    }
    char* end = nullptr;
    const long long seconds = std::strtoll(value.c_str(), &end, 10);  // saturates, which is out of range as well
    if (end != value.c_str() + value.size()) {
        report("config-interval-not-numeric"_id, "Parameter %s can contain only a numeric value. Current value: %s.",
               key, shown_text(value).c_str())
            .field("key", key)
            .field("value", value);
        return false;
    }
    if (seconds < min_interval_seconds || seconds > std::numeric_limits<std::int32_t>::max()) {
        report("config-interval-out-of-range"_id, "Parameter %s out of range %d-2^32-1.", key, min_interval_seconds)
            .field("key", key)
            .field("value", value);
        return false;
    }
    out = static_cast<std::uint32_t>(seconds);
    log_at(log_level::debug, "[Ini Config] Set %s to value: %ld", key, static_cast<long>(seconds));
    return true;
}

bool parse_file_level(const char* key, const std::string& value, std::optional<log_level>& out) {
    for (const level_choice& row : level_choices) {
        if (value == row.digit) {
            out = row.level;
            log_set(key, row.digit);
            return true;
        }
    }
    report("config-log-level-invalid"_id, "Invalid parameter %s value. Expected: [%s, %s, %s, %s].", key,
           level_choices[0].digit, level_choices[1].digit, level_choices[2].digit, level_choices[3].digit)
        .field("key", key)
        .field("value", value);
    return false;
}

}  // namespace vellum
