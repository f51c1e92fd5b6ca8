#include "firmware/feature_state.h"

#include <algorithm>
#include <utility>

#include "core/findings.h"
#include "core/log.h"
#include "firmware/seal_config.h"

namespace vellum {
namespace {

constexpr std::size_t interval_reserved_size = 4;  // bytes after the opt-out interval

byte_view part(byte_view whole, std::size_t begin, std::size_t end) {
    const std::size_t last = std::min(end, whole.size());
    return begin < last ? whole.subspan(begin, last - begin) : byte_view();
}

// Everything up to the seal signature.
[[nodiscard]] bool read_state(byte_reader& reader, feature_state_response& out, byte_view& hotkey) {
    return reader.skip(feature_state_offset) && reader.u32_le(out.feature_state) &&
           reader.u16_le(out.configuration) && reader.u32_le(out.seal_state) &&
           reader.u32_le(out.seal.hotkey_length) && reader.view(firmware_hotkey_size, hotkey) &&
           reader.u32_le(out.seal.opt_out_interval) && reader.skip(interval_reserved_size);
}

// The seal signature and the seal log, which are decoded elsewhere.
[[nodiscard]] bool skip_seal(byte_reader& reader) {
    std::uint16_t records_size = 0;
    return reader.skip(seal_log_size_offset - seal_signature_offset) && reader.u16_le(records_size) &&
           reader.skip(records_size);
}

}  // namespace

byte_view feature_state_response::seal_log_block() const {
    return part(bytes, seal_log_block_offset, bytes.size());
}

byte_view feature_state_response::seal_signature() const {
    return part(bytes, seal_signature_offset, seal_log_size_offset);
}

result parse_feature_state(std::vector<std::uint8_t> response, feature_state_response& out) {
    feature_state_response parsed;
    byte_reader reader(response);
    byte_view hotkey;
    if (!read_state(reader, parsed, hotkey) || !skip_seal(reader)) {
        report("firmware-state-incomplete"_id, "The KVR Feature State is incomplete. Received %zu bytes.",
               response.size())
            .field("size", response.size());
        return result::transport_failure;
    }
    // A length beyond the field is kept as it is claimed: it matches no expected hotkey.
    const std::size_t hotkey_length = std::min<std::size_t>(parsed.seal.hotkey_length, hotkey.size());
    std::copy_n(hotkey.begin(), hotkey_length, parsed.seal.hotkey.begin());
    parsed.seal.flags = word_to_flags(parsed.configuration);
    parsed.bytes = std::move(response);
    out = std::move(parsed);
    return result::success;
}

}  // namespace vellum
