#include "config/path_tokens.h"

#include <algorithm>

#include "base/text.h"
#include "config/device_id_text.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr std::size_t max_input_path = 256;        // characters
constexpr std::size_t translated_path_size = 260;  // characters and the terminator
constexpr std::string_view delimiter = "::";
constexpr char replacement = '_';

struct path_token {
    std::string_view text;
    DeviceIdSource source;
};

constexpr path_token path_tokens[] = {
    {"::UUID::", DeviceIdSource::UUID},
    {"::SERIAL_NUMBER::", DeviceIdSource::SERIAL_NUMBER},
    {"::OEM_DEFINED_LITERAL::", DeviceIdSource::OEM_DEFINED_LITERAL},
    {"::OEM_DEFINED_BLOB::", DeviceIdSource::OEM_DEFINED_BLOB},
};

const path_token* token_at_start(std::string_view text) {
    for (const path_token& token : path_tokens) {
        if (text.starts_with(token.text)) {
            return &token;
        }
    }
    return nullptr;
}

// What the tokens stand for in this run.
struct token_values {
    const platform_identity* identity;
    const std::string* external_id;
};

result literal_value(const std::string& text, std::string& out) {
    if (text.starts_with(blob_prefix)) {
        report(
            "path-literal-prefixed"_id,
            "OEM_DEFINED_LITERAL token was found, but provided value [%s] is invalid. Literal cannot start with 0x prefix.",
            shown_text(text).c_str())
            .field("value", text);
        return result::invalid;
    }
    const result checked = check_device_id_charset(text);
    if (!ok(checked)) {
        report("path-literal-invalid"_id, "OEM_DEFINED_LITERAL token was found, but provided value [%s] is invalid.",
               shown_text(text).c_str())
            .field("value", text);
        return checked;
    }
    out = text;
    return result::success;
}

result blob_of(std::string_view text, device_id& out) {
    if (!text.starts_with(blob_prefix)) {
        report("path-blob-without-prefix"_id,
               "Provided invalid hex string. OEM_DEFINED_BLOB should start with '0x' prefix.")
            .field("value", text);
        return result::invalid;
    }
    if (text.size() % 2 != 0) {
        report("path-blob-odd-length"_id, "Provided hex string is odd long").field("value", text);
        return result::invalid;
    }
    return hex_string_to_bytes(text.substr(blob_prefix.size()), out.data, out.size);
}

result blob_value(const std::string& text, std::string& out) {
    device_id blob;
    const result converted = blob_of(text, blob);
    if (!ok(converted)) {
        report("path-blob-invalid"_id, "OEM_DEFINED_BLOB token was found, but provided value [%s] is invalid.",
               shown_text(text).c_str())
            .field("value", text);
        return converted;
    }
    return device_id_to_printable(DeviceIdSource::OEM_DEFINED_BLOB, blob, out);
}

result external_value(DeviceIdSource source, const std::string* external_id, std::string& out) {
    if (external_id == nullptr || external_id->empty()) {
        report("path-token-value-missing"_id,
               "%s token was found, but provided value is empty. Use --external_device_id flag to provide value.",
               device_id_source_name(source))
            .field("name", device_id_source_name(source));
        return result::invalid;
    }
    return source == DeviceIdSource::OEM_DEFINED_BLOB ? blob_value(*external_id, out)
                                                      : literal_value(*external_id, out);
}

result platform_value(DeviceIdSource source, const platform_identity* identity, std::string& out) {
    if (identity == nullptr) {
        report("path-token-identity-unavailable"_id,
               "%s token was found, but the SMBIOS information of this platform is not available.",
               device_id_source_name(source))
            .field("name", device_id_source_name(source));
        return result::invalid;
    }
    out = source == DeviceIdSource::UUID ? guid_text(identity->uuid) : identity->serial_number;
    return result::success;
}

result clean_value(const char* name, std::string& value) {
    if (value.size() >= printable_device_id_size) {
        report("path-token-value-not-copied"_id, "Error occurred while trying to copy value retrieved from token %s.",
               name)
            .field("name", name)
            .field("size", value.size())
            .field("limit", printable_device_id_size - 1);
        return result::internal_failure;
    }
    std::size_t replaced = 0;
    const result cleaned = replace_illegal_path_chars(value, replaced);
    if (!ok(cleaned)) {
        // No value given by the user is empty.
        report("path-token-value-not-cleaned"_id,
               "Error occurred while trying to replace illegal characters in token value.")
            .field("name", name)
            .line("%s token was found, but the SMBIOS information of this platform has no value for it.", name);
        return cleaned;
    }
    if (replaced != 0) {
        log_at(
            log_level::warning,
            "Token \"%s\" value contains %zu characters out of set [0-9a-zA-Z_.-] that cannot be used in a file name and were replaced with \"%c\" character. New token value after substitution: \"%s\".",
            name, replaced, replacement, value.c_str());
    }
    return result::success;
}

result append_value(DeviceIdSource source, const token_values& values, std::string& out) {
    std::string value;
    RETURN_IF_FAILED(source_takes_external_id(source) ? external_value(source, values.external_id, value)
                                                      : platform_value(source, values.identity, value));
    const result cleaned = clean_value(device_id_source_name(source), value);
    out += value;
    return cleaned;
}

result translate(std::string_view path, const token_values& values, std::string& out) {
    std::size_t at = 0;
    while (at < path.size()) {
        const std::size_t opening = std::min(path.find(delimiter, at), path.size());
        out += path.substr(at, opening - at);
        at = opening;
        if (at == path.size()) {
            break;
        }
        const path_token* token = token_at_start(path.substr(at));
        if (token == nullptr) {
            report("path-token-unclosed"_id,
                   "Unclosed or invalid token occurred on position %d opened with double-colon delimiter (::).",
                   static_cast<int>(at))
                .field("value", path)
                .field("offset", at);
            return result::invalid;
        }
        RETURN_IF_FAILED(append_value(token->source, values, out));
        at += token->text.size();
    }
    return result::success;
}

}  // namespace

bool needs_platform_identity(std::string_view path) {
    std::size_t at = path.find(delimiter);
    while (at != std::string_view::npos) {
        const path_token* token = token_at_start(path.substr(at));
        if (token == nullptr) {
            return false;
        }
        if (!source_takes_external_id(token->source)) {
            return true;
        }
        at = path.find(delimiter, at + token->text.size());
    }
    return false;
}

result replace_illegal_path_chars(std::string& text, std::size_t& replaced) {
    replaced = 0;
    for (char& c : text) {
        if (!is_device_id_character(c)) {
            c = replacement;
            ++replaced;
        }
    }
    return text.empty() ? result::invalid : result::success;
}

result translate_path_tokens(const std::string& path, const platform_identity* identity,
                             const std::string* external_id, std::string& out) {
    out.clear();
    if (path.size() > max_input_path) {
        report("path-too-long"_id, "File path is too long. Maximum length of path with tokens is %u.",
               static_cast<unsigned>(max_input_path))
            .field("value", path)
            .field("size", path.size())
            .field("limit", max_input_path);
        return result::invalid;
    }
    std::string translated;
    const result done = translate(path, {identity, external_id}, translated);
    if (!ok(done)) {
        return done;
    }
    if (translated.size() >= translated_path_size) {
        report("path-translated-too-long"_id,
               "Translated file path is too long. Maximum length of translated path is %u.",
               static_cast<unsigned>(translated_path_size - 1))
            .field("value", translated)
            .field("size", translated.size())
            .field("limit", translated_path_size - 1);
        return result::invalid;
    }
    out = translated;
    return result::success;
}

}  // namespace vellum
