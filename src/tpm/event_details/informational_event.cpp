#include "tpm/event_details/informational_event.h"

#include <string_view>

#include "tpm/event_details/tagged_event.h"
#include "tpm/event_details/text_fields.h"

namespace vellum {
namespace {

constexpr std::string_view spec_id_signature("Spec ID Event03\0", 16);
constexpr std::string_view startup_locality_signature("StartupLocality\0", 16);
constexpr std::string_view sp800_155_signature("SP800-155 Event\0", 16);
constexpr std::string_view sp800_155_signature_2("SP800-155 Event2", 16);
constexpr std::string_view sp800_155_signature_3("SP800-155 Event3", 16);
constexpr std::size_t signature_size = 16;

event_details decode_spec_id(byte_view data) {
    byte_reader reader(data);
    spec_id_details out;
    std::uint32_t count = 0;
    const bool fits = reader.skip(signature_size) && reader.u32_le(out.platform_class) && reader.u8(out.minor) &&
                      reader.u8(out.major) && reader.u8(out.errata) && reader.u8(out.uintn_size) &&
                      reader.u32_le(count);
    if (!fits || count > max_event_digests) {
        return not_decoded{fits ? "it lists more algorithms than an event can have digests"
                                : "it is shorter than a Spec ID event"};
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        event_log_reader::algorithm algorithm;
        if (!(reader.u16_le(algorithm.id) && reader.u16_le(algorithm.digest_size))) {
            return not_decoded{"its algorithms reach past the end"};
        }
        out.algorithms.push_back(algorithm);
    }
    std::uint8_t vendor_size = 0;
    if (!reader.u8(vendor_size) || !reader.view(vendor_size, out.vendor_information)) {
        return not_decoded{"its vendor information reaches past the end"};
    }
    return out;
}

event_details decode_startup_locality(byte_view data) {
    if (data.size() != signature_size + 1) {
        return not_decoded{"it is not one byte behind its signature"};
    }
    return startup_locality_details{data.back()};
}

// Its later versions go on behind the model; what follows the last text here is for nobody but a verifier.
event_details decode_platform_identification(byte_view data) {
    byte_reader reader(data);
    platform_identification_details out;
    if (!(reader.skip(signature_size) && reader.u32_le(out.vendor) && reader.copy(out.manifest))) {
        return not_decoded{"it is shorter than its manufacturer and manifest"};
    }
    if (starts_with(data, as_bytes(sp800_155_signature))) {
        return out;
    }
    std::uint32_t firmware_vendor = 0;
    const bool fits = read_short_text(reader, out.platform_manufacturer) &&
                      read_short_text(reader, out.platform_model) && read_short_text(reader, out.platform_version) &&
                      read_short_text(reader, out.firmware_manufacturer) && reader.u32_le(firmware_vendor) &&
                      read_short_text(reader, out.firmware_version);
    return fits ? event_details(out) : not_decoded{"its texts reach past the end"};
}

// The identifiers of the containers in which Windows keeps what it measured while it started.
bool begins_with_windows_container(byte_view data) {
    std::uint32_t id = 0;
    return byte_reader(data).u32_le(id) && (id & 0xFFFF0000U) == 0xC0010000U;
}

}  // namespace

event_details decode_informational_event(byte_view data) {
    constexpr struct {
        std::string_view signature;
        event_details (*decode)(byte_view data);
    } rows[] = {
        {spec_id_signature, decode_spec_id},
        {startup_locality_signature, decode_startup_locality},
        {sp800_155_signature, decode_platform_identification},
        {sp800_155_signature_2, decode_platform_identification},
        {sp800_155_signature_3, decode_platform_identification},
    };
    for (const auto& row : rows) {
        if (starts_with(data, as_bytes(row.signature))) {
            return row.decode(data);
        }
    }
    // Windows says in events that extend nothing what it says in tagged ones.
    event_details tagged = decode_tagged_event(data);
    if (std::holds_alternative<not_decoded>(tagged) && !begins_with_windows_container(data)) {
        return not_decoded{"it begins with no signature that is known"};
    }
    return tagged;
}

}  // namespace vellum
