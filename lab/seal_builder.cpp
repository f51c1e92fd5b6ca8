#include "lab/seal_builder.h"

#include "lab/byte_builder.h"
#include "seal/seal_log.h"

namespace vellum::lab {
namespace {

constexpr std::size_t signature_offset = 80;  // in the block

}  // namespace

seal_event seal_configured(std::uint32_t timestamp, std::uint32_t instance_id, byte_view seal_data) {
    return {SEAL_CONFIGURED, timestamp, byte_builder().u32_le(instance_id).bytes(seal_data).take()};
}

seal_event seal_enabled(std::uint32_t timestamp) {
    return {SEAL_ENABLED, timestamp, {}};
}

seal_event seal_broken(std::uint32_t timestamp, std::uint32_t reason, std::uint8_t boot, std::uint8_t execution) {
    return {SEAL_BROKEN, timestamp, byte_builder().u32_le(reason).u8(boot).u8(execution).take()};
}

seal_event seal_disabled(std::uint32_t timestamp, std::uint8_t post_boot, std::uint8_t status, byte_view log_data) {
    return {SEAL_DISABLED, timestamp, byte_builder().u8(post_boot).u8(status).fill(2).bytes(log_data).take()};
}

seal_event disk_lock_removal(std::uint32_t timestamp, std::uint8_t boot, std::uint8_t execution) {
    return {SEAL_DISK_LOCK_REMOVAL, timestamp, {boot, execution}};
}

seal_event disk_lock_not_present(std::uint32_t timestamp, std::uint8_t boot, std::uint8_t execution) {
    return {SEAL_DISK_LOCK_NOT_PRESENT, timestamp, {boot, execution}};
}

seal_event disk_lock_password_retrieved(std::uint32_t timestamp, std::uint8_t boot_stage, std::uint8_t boot,
                                        std::uint8_t execution) {
    return {SEAL_DISK_LOCK_PASSWORD_RETRIEVED, timestamp, {boot, boot_stage, execution}};
}

std::vector<std::uint8_t> build(const std::vector<seal_event>& events) {
    byte_builder out;
    for (const seal_event& event : events) {
        out.u32_le(event.id).u32_le(event.timestamp).padded(event.data, seal_event_data_size);
    }
    return out.take();
}

std::vector<std::uint8_t> build(const seal_log& log) {
    byte_builder records;
    records.bytes(build(log.events)).bytes(log.trailing);
    byte_builder out;
    out.u32_le(log.seal_state).fill(signature_offset - out.size());
    out.padded(log.signature, seal_block_count_offset - out.size());
    out.u16_le(log.byte_count.value_or(static_cast<std::uint16_t>(records.size()))).bytes(records.take());
    return out.take();
}

}  // namespace vellum::lab
