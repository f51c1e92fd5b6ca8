#include "seal/seal_log.h"

#include <algorithm>

#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr std::size_t seal_state_size = 4;

[[nodiscard]] bool read_block(byte_view block, std::uint32_t& seal_state, std::uint16_t& byte_count,
                              byte_view& records) {
    byte_reader reader(block);
    return reader.u32_le(seal_state) && reader.skip(seal_block_count_offset - seal_state_size) &&
           reader.u16_le(byte_count) && reader.view(byte_count, records);
}

[[nodiscard]] bool read_record(byte_reader& reader, seal_record& out) {
    return reader.u32_le(out.id) && reader.u32_le(out.timestamp) && reader.copy(out.data);
}

}  // namespace

result read_seal_log(byte_view block, seal_log& out) {
    out = {};
    std::uint16_t byte_count = 0;
    byte_view records;
    if (!read_block(block, out.seal_state, byte_count, records)) {
        out = {};
        report("seal-log-cut"_id, "Seal log has invalid size. Size of data: %zu, expected at least %zu.",
               block.size(), seal_block_records_offset + static_cast<std::size_t>(byte_count))
            .field("size", block.size())
            .field("expected", seal_block_records_offset + byte_count);
        return result::invalid;
    }
    out.record_bytes.assign(records.begin(), records.end());
    out.records.reserve(records.size() / seal_record_size);
    byte_reader reader(records);
    while (reader.remaining() >= seal_record_size) {
        if (!read_record(reader, out.records.emplace_back())) {
            return result::internal_failure;
        }
    }
    return result::success;
}

const seal_record* find_seal_event(const seal_log& log, std::uint32_t id) {
    const auto found =
        std::find_if(log.records.begin(), log.records.end(), [id](const seal_record& r) { return r.id == id; });
    return found == log.records.end() ? nullptr : &*found;
}

const seal_record* find_last_seal_event(const seal_log& log, std::uint32_t id) {
    const auto found =
        std::find_if(log.records.rbegin(), log.records.rend(), [id](const seal_record& r) { return r.id == id; });
    return found == log.records.rend() ? nullptr : &*found;
}

}  // namespace vellum
