// The seal data: what the device was told at sealing, kept by the firmware in the Seal Configured record of the seal
// log and covered by the seal signature. Little-endian; time in seconds since 1970-01-01 UTC.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/result.h"
#include "config/device_id.h"
#include "core/digest.h"
#include "seal/seal_log.h"

namespace vellum {

inline constexpr std::size_t seal_data_size = 152;  // bytes
inline constexpr std::string_view seal_data_marker = "KVR-SEAL";

struct sealed_device_id {
    std::uint32_t type = 0;  // a DeviceIdSource, or a value that has no meaning
    device_id id;
};

struct seal_data {
    std::array<std::uint8_t, seal_data_size> bytes{};  // all of it, as it is signed
    std::array<char, seal_data_marker.size()> marker{};
    std::uint8_t version_major = 0;
    std::uint8_t version_minor = 0;
    std::uint32_t timestamp = 0;
    std::uint8_t device_id_length = 0;  // as claimed, may exceed the room
    std::uint8_t device_id_type = 0;    // a DeviceIdSource, or a value that has no meaning
    std::array<std::uint8_t, max_device_id_size> device_id_room{};
    sha384_value pmf_hash{};
};

// The seal data of the log's first Seal Configured record; nothing when no such record is there.
std::optional<seal_data> find_seal_data(const seal_log& log);

// The Device ID of seal data. Fails with check_failed for a length that the field cannot hold; the reason is
// reported.
result read_sealed_device_id(const seal_data& data, sealed_device_id& out);

// The check of the stage "Retrieve Device ID from Seal Log". Fails with invalid when no Seal Configured record is
// there, else as read_sealed_device_id(); the reason is reported.
result device_id_from_seal_log(const seal_log& log, sealed_device_id& out);

// Whether the seal log holds this hash of a PMF. Fails with invalid when no Seal Configured record is there and with
// check_failed when the hashes differ; the reason is reported.
result compare_pmf_hash_with_seal_log(const seal_log& log, const sha384_value& pmf_hash);

}  // namespace vellum
