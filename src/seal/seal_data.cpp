#include "seal/seal_data.h"

#include <algorithm>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

// Offsets into the data of a Seal Configured record, bytes.
constexpr std::size_t seal_data_offset = 4;

// Offsets into the seal data, bytes.
constexpr std::size_t marker_offset = 0;             // 8 characters
constexpr std::size_t version_offset = 8;            // major and minor, one byte each
constexpr std::size_t timestamp_offset = 12;         // 32-bit
constexpr std::size_t device_id_length_offset = 18;  // 8-bit, then the type, 8-bit, then the Device ID
constexpr std::size_t pmf_hash_offset = 84;          // SHA-384

byte_reader reader_at(const seal_data& data, std::size_t offset) {
    return byte_reader(byte_view(data.bytes).subspan(offset));
}

[[nodiscard]] bool decode(seal_data& data) {
    const auto marker = byte_view(data.bytes).subspan(marker_offset, data.marker.size());
    std::copy(marker.begin(), marker.end(), data.marker.begin());
    byte_reader version = reader_at(data, version_offset);
    byte_reader timestamp = reader_at(data, timestamp_offset);
    byte_reader device_id = reader_at(data, device_id_length_offset);
    byte_reader pmf_hash = reader_at(data, pmf_hash_offset);
    return version.u8(data.version_major) && version.u8(data.version_minor) && timestamp.u32_le(data.timestamp) &&
           device_id.u8(data.device_id_length) && device_id.u8(data.device_id_type) &&
           device_id.copy(data.device_id_room) && pmf_hash.copy(data.pmf_hash);
}

result no_seal_data() {
    report("seal-configured-record-missing"_id, "Could not find Seal Configured Event in Seal log.");
    return result::invalid;
}

}  // namespace

std::optional<seal_data> find_seal_data(const seal_log& log) {
    const seal_record* configured = find_seal_event(log, SEAL_CONFIGURED);
    if (configured == nullptr) {
        return std::nullopt;
    }
    seal_data data;
    byte_reader reader(byte_view(configured->data).subspan(seal_data_offset));
    return reader.copy(data.bytes) && decode(data) ? std::optional(data) : std::nullopt;
}

result read_sealed_device_id(const seal_data& data, sealed_device_id& out) {
    if (data.device_id_length > data.device_id_room.size()) {
        report("seal-device-id-too-long"_id, "Device ID size [%u] in Seal Log is too big. Maximum size is %zu.",
               data.device_id_length, data.device_id_room.size())
            .field("size", data.device_id_length)
            .field("limit", data.device_id_room.size());
        return result::check_failed;
    }
    out.type = data.device_id_type;
    out.id.size = data.device_id_length;
    std::copy_n(data.device_id_room.begin(), out.id.size, out.id.data.begin());
    return result::success;
}

result device_id_from_seal_log(const seal_log& log, sealed_device_id& out) {
    const std::optional<seal_data> data = find_seal_data(log);
    if (!data) {
        return no_seal_data();
    }
    out = {};
    const result read = read_sealed_device_id(*data, out);
    if (ok(read)) {
        log_at(log_level::debug, "Fetched DeviceID size [%u] and type [%s] from Seal Log.", data->device_id_length,
               device_id_source_name(static_cast<DeviceIdSource>(out.type)));
        dump_titled(log_level::debug, "Fetched DeviceID from Seal Log", out.id.bytes());
    }
    return read;
}

result compare_pmf_hash_with_seal_log(const seal_log& log, const sha384_value& pmf_hash) {
    const std::optional<seal_data> data = find_seal_data(log);
    if (!data) {
        return no_seal_data();
    }
    if (pmf_hash == data->pmf_hash) {
        return result::success;
    }
    report("pmf-hash-differs"_id, "PMF hash does not match PMF hash from Seal Log.")
        .field("expected", byte_view(data->pmf_hash))
        .field("expected_source", "Seal Log")
        .field("actual", byte_view(pmf_hash))
        .field("actual_source", "PMF")
        .line(" Expected (Seal Log): 0x%s", upper_hex(data->pmf_hash).c_str())
        .line(" Actual (PMF):        0x%s", upper_hex(pmf_hash).c_str());
    return result::check_failed;
}

}  // namespace vellum
