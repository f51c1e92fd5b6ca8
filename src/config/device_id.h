// The Device ID: what a seal is bound to, and how the same value is formed on the running machine.
//
// A Device ID is up to 64 bytes from one of four sources. UUID (the 16 bytes as SMBIOS holds them) and SERIAL_NUMBER
// (its characters) come from the platform, the two OEM sources from the command line alone: a literal of letters,
// digits, ".", "-" and "_", or a blob typed as "0x" and hexadecimal digits. Whatever is refused reports its reason
// and yields result::invalid; outputs are then not to be used.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "base/result.h"
#include "base/text.h"
#include "config/kxl_config.h"
#include "core/stage.h"

namespace vellum {

inline constexpr std::size_t max_device_id_size = 64;                         // bytes
inline constexpr std::size_t max_device_id_literal = max_device_id_size - 1;  // characters
inline constexpr std::size_t printable_device_id_size = 131;                  // a full blob and its terminator

struct device_id {
    std::array<std::uint8_t, max_device_id_size> data{};
    std::size_t size = 0;  // bytes of `data` that count

    byte_view bytes() const { return byte_view(data).first(size); }
};

// What the SMBIOS tables say of this machine.
struct platform_identity {
    std::array<std::uint8_t, guid_size> uuid{};
    std::string serial_number;
};

// "UUID", "SERIAL_NUMBER", "OEM_DEFINED_LITERAL", "OEM_DEFINED_BLOB"; "UNKNOWN" for another value.
const char* device_id_source_name(DeviceIdSource source);

// The source of exactly this name, or DeviceIdSource::unknown.
DeviceIdSource device_id_source_of(std::string_view name);

// Whether the Device ID comes from the command line.
bool source_takes_external_id(DeviceIdSource source);

// Takes the value of --external_device_id for a source that asks for one.
result set_external_device_id(DeviceIdSource source, const std::string& value, device_id& out);

// UUID in registry form; serial number and literal as they stand, up to a zero byte; a blob as "0x" and upper-case
// digits. Fails with internal_failure for a size that the source cannot have and for an unknown source.
result device_id_to_printable(DeviceIdSource source, const device_id& id, std::string& out);

// The machine's own Device ID. `external` is what set_external_device_id() took, if the run was given one.
result current_device_id(DeviceIdSource source, const platform_identity& identity,
                         const std::optional<device_id>& external, device_id& out);

// The check that the seal's Device ID, of the source numbered `sealed_type`, is this machine's. Reports both.
stage_outcome match_device_id(std::uint32_t sealed_type, const device_id& sealed, const platform_identity& identity,
                              const std::optional<device_id>& external);

}  // namespace vellum
