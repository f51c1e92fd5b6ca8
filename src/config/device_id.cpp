#include "config/device_id.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "base/format.h"
#include "base/text.h"
#include "config/device_id_text.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

struct source_name {
    DeviceIdSource source;
    const char* name;
};

constexpr source_name source_names[] = {
    {DeviceIdSource::UUID, "UUID"},
    {DeviceIdSource::SERIAL_NUMBER, "SERIAL_NUMBER"},
    {DeviceIdSource::OEM_DEFINED_LITERAL, "OEM_DEFINED_LITERAL"},
    {DeviceIdSource::OEM_DEFINED_BLOB, "OEM_DEFINED_BLOB"},
};

// Reports the message about the value, and shows it on the console at once.
result VELLUM_PRINTF(3, 4) refuse_on_console(finding_id id, std::string_view value, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = format_text(format, arguments);
    va_end(arguments);
    report_text(id, text).field("value", value);
    log_to_console(log_level::error, text);
    return result::invalid;
}

// Says whether the bytes fit.
[[nodiscard]] bool store(byte_view bytes, device_id& out) {
    if (bytes.size() > out.data.size()) {
        return false;
    }
    out.data.fill(0);
    std::copy(bytes.begin(), bytes.end(), out.data.begin());
    out.size = bytes.size();
    return true;
}

result set_blob(const std::string& value, device_id& out) {
    const char* name = device_id_source_name(DeviceIdSource::OEM_DEFINED_BLOB);
    if (!value.starts_with(blob_prefix)) {
        return refuse_on_console(
            "device-id-blob-without-prefix"_id, value,
            "Could not set external Device ID [%s]. Value must start with 0x. Provided value: [%s].", name,
            shown_text(value).c_str());
    }
    out = {};
    const result converted =
        hex_string_to_bytes(std::string_view(value).substr(blob_prefix.size()), out.data, out.size);
    if (!ok(converted)) {
        report("device-id-blob-invalid"_id, "Could not set external Device ID [%s]. Provided value: [%s].", name,
               shown_text(value).c_str())
            .field("value", value);
    }
    return converted;
}

result set_literal(const std::string& value, device_id& out) {
    const char* name = device_id_source_name(DeviceIdSource::OEM_DEFINED_LITERAL);
    if (value.size() > max_device_id_literal) {
        report("device-id-literal-too-long"_id, "Could not set external Device ID [%s]. Provided value is too big.",
               name)
            .field("value", value)
            .field("size", value.size())
            .field("limit", max_device_id_literal);
        return result::invalid;
    }
    if (value.starts_with(blob_prefix)) {
        report("device-id-literal-prefixed"_id,
               "Could not set external Device ID [%s]. Literal cannot start with 0x.", name)
            .field("value", value);
        return result::invalid;
    }
    if (!store(as_bytes(value), out)) {
        report("device-id-literal-not-stored"_id,
               "Could not set external Device ID [%s]. Internal error while copying value.", name)
            .field("size", value.size())
            .field("limit", out.data.size());
        return result::internal_failure;
    }
    return check_device_id_charset(value);
}

result value_missing(DeviceIdSource source) {
    report(
        "device-id-value-missing"_id,
        "Could not set external Device ID. Specified [%s] Device ID source type but provided value is empty. Use --external_device_id flag to provide value.",
        device_id_source_name(source))
        .field("name", device_id_source_name(source));
    return result::invalid;
}

result too_big_to_compare(std::size_t size) {
    report("device-id-too-big-to-compare"_id,
           "Device ID size comparison failed. Provided size to big to compare with seal log device id size.")
        .field("size", size)
        .field("limit", max_device_id_size);
    return result::invalid;
}

result buffer_too_small(DeviceIdSource source) {
    report("device-id-buffer-too-small"_id,
           "Could not get printable Device ID [%s]. Internal buffer may be too small.", device_id_source_name(source))
        .field("name", device_id_source_name(source));
    return result::internal_failure;
}

result print_uuid(const device_id& id, std::string& out) {
    if (id.size != guid_size) {
        return buffer_too_small(DeviceIdSource::UUID);
    }
    out = guid_text(std::span(id.data).first<guid_size>());
    return result::success;
}

result print_blob(const device_id& id, std::string& out) {
    out = std::string(blob_prefix) + upper_hex(id.bytes());
    return result::success;
}

// As much of the text as stands before a zero byte.
result print_text(const device_id& id, std::string& out) {
    out = field_text(id.bytes());
    return result::success;
}

bool report_ids(DeviceIdSource source, const device_id& sealed, const device_id& actual) {
    std::string sealed_text;
    std::string actual_text;
    if (!ok(device_id_to_printable(source, sealed, sealed_text)) ||
        !ok(device_id_to_printable(source, actual, actual_text))) {
        return false;
    }
    report("device-id-compared"_id, "Actual Device ID [%s]", shown_text(actual_text).c_str())
        .field("actual", actual_text)
        .field("expected", sealed_text)
        .field("expected_source", "Seal Log")
        .field("name", device_id_source_name(source))
        .line("Device ID in Seal Log [%s]", shown_text(sealed_text).c_str())
        .line("Device ID source in Seal Log [%s]", device_id_source_name(source));
    return true;
}

bool equal_ids(const device_id& sealed, const device_id& actual) {
    if (sealed.size != actual.size) {
        report("device-id-size-differs"_id, "Device ID size comparison failed. Expected: %u, actual: %u",
               static_cast<unsigned>(sealed.size), static_cast<unsigned>(actual.size))
            .field("expected", sealed.size)
            .field("actual", actual.size);
        return false;
    }
    if (!equal_bytes(sealed.bytes(), actual.bytes())) {
        note("device-id-differs"_id).field("expected", sealed.bytes()).field("actual", actual.bytes());
        return false;
    }
    return true;
}

}  // namespace

const char* device_id_source_name(DeviceIdSource source) {
    for (const source_name& row : source_names) {
        if (row.source == source) {
            return row.name;
        }
    }
    return "UNKNOWN";
}

DeviceIdSource device_id_source_of(std::string_view name) {
    for (const source_name& row : source_names) {
        if (name == row.name) {
            return row.source;
        }
    }
    return DeviceIdSource::unknown;
}

bool source_takes_external_id(DeviceIdSource source) {
    return source == DeviceIdSource::OEM_DEFINED_LITERAL || source == DeviceIdSource::OEM_DEFINED_BLOB;
}

result set_external_device_id(DeviceIdSource source, const std::string& value, device_id& out) {
    if (value.empty()) {
        return value_missing(source);
    }
    switch (source) {
        case DeviceIdSource::OEM_DEFINED_BLOB: return set_blob(value, out);
        case DeviceIdSource::OEM_DEFINED_LITERAL: return set_literal(value, out);
        case DeviceIdSource::UUID:
        case DeviceIdSource::SERIAL_NUMBER:
        case DeviceIdSource::unknown: break;
    }
    return refuse_on_console("device-id-source-invalid"_id, device_id_source_name(source),
                             "Could not set external Device ID. Invalid source type specified: [%s], [%d].",
                             device_id_source_name(source), static_cast<int>(source));
}

result device_id_to_printable(DeviceIdSource source, const device_id& id, std::string& out) {
    if (id.size > id.data.size()) {
        return buffer_too_small(source);
    }
    switch (source) {
        case DeviceIdSource::UUID: return print_uuid(id, out);
        case DeviceIdSource::SERIAL_NUMBER:
        case DeviceIdSource::OEM_DEFINED_LITERAL: return print_text(id, out);
        case DeviceIdSource::OEM_DEFINED_BLOB: return print_blob(id, out);
        case DeviceIdSource::unknown: break;
    }
    report("device-id-source-unprintable"_id,
           "Internal error: unsupported Device ID source, cannot obtain printable form.");
    return result::internal_failure;
}

result current_device_id(DeviceIdSource source, const platform_identity& identity,
                         const std::optional<device_id>& external, device_id& out) {
    switch (source) {
        case DeviceIdSource::UUID:
            return store(identity.uuid, out) ? result::success : too_big_to_compare(identity.uuid.size());
        case DeviceIdSource::SERIAL_NUMBER:
            return store(as_bytes(identity.serial_number), out) ? result::success
                                                                : too_big_to_compare(identity.serial_number.size());
        case DeviceIdSource::OEM_DEFINED_LITERAL:
        case DeviceIdSource::OEM_DEFINED_BLOB:
            if (!external) {
                return value_missing(source);
            }
            out = *external;
            return result::success;
        case DeviceIdSource::unknown: break;
    }
    report("device-id-type-unknown"_id, "Could not validate Device ID: unknown type")
        .field("value", static_cast<std::uint32_t>(source));
    return result::invalid;
}

stage_outcome match_device_id(std::uint32_t sealed_type, const device_id& sealed, const platform_identity& identity,
                              const std::optional<device_id>& external) {
    const auto source = static_cast<DeviceIdSource>(sealed_type);
    device_id actual;
    if (!ok(current_device_id(source, identity, external, actual))) {
        return failed();
    }
    if (const std::size_t size = std::max(sealed.size, actual.size); size > max_device_id_size) {
        return pass_if(ok(too_big_to_compare(size)));
    }
    const bool shown = report_ids(source, sealed, actual);
    const bool equal = equal_ids(sealed, actual);
    return pass_if(shown && equal);
}

}  // namespace vellum
