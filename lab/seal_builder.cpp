#include "lab/seal_builder.h"

#include <openssl/x509.h>

#include <algorithm>

#include "core/openssl.h"
#include "lab/byte_builder.h"
#include "lab/digest_of.h"
#include "seal/seal_data.h"
#include "seal/seal_log.h"
#include "seal/seal_signature.h"

namespace vellum::lab {
namespace {

// Signed as zeros. Not the verifier's constants: a signer that shared them would share a mistake in them.
constexpr std::size_t unsigned_begin = 16;
constexpr std::size_t unsigned_end = 28;

std::vector<std::uint8_t> with_tail(const std::vector<std::uint8_t>& head, byte_view tail) {
    std::vector<std::uint8_t> bytes(head.size() + tail.size());
    std::copy(tail.begin(), tail.end(), std::copy(head.begin(), head.end(), bytes.begin()));
    return bytes;
}

std::vector<std::uint8_t> signed_message(const seal_signature& signature, byte_view seal_data) {
    const std::vector<std::uint8_t> bytes = build(signature);
    const byte_view head = byte_view(bytes).first(signed_signature_size);
    return byte_builder()
        .bytes(seal_data)
        .bytes(head.first(unsigned_begin))
        .fill(unsigned_end - unsigned_begin)
        .bytes(head.subspan(unsigned_end))
        .take();
}

}  // namespace

seal_event seal_configured(std::uint32_t timestamp, std::uint32_t instance_id, byte_view seal_data) {
    return {SEAL_CONFIGURED, timestamp, with_tail(byte_builder().u32_le(instance_id).take(), seal_data)};
}

seal_event seal_enabled(std::uint32_t timestamp) {
    return {SEAL_ENABLED, timestamp, {}};
}

seal_event seal_broken(std::uint32_t timestamp, std::uint32_t reason, std::uint8_t boot, std::uint8_t execution) {
    return {SEAL_BROKEN, timestamp, byte_builder().u32_le(reason).u8(boot).u8(execution).take()};
}

seal_event seal_disabled(std::uint32_t timestamp, std::uint8_t post_boot, std::uint8_t status, byte_view log_data) {
    return {SEAL_DISABLED, timestamp, with_tail({post_boot, status, 0, 0}, log_data)};
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
    out.padded(byte_builder().u32_le(log.seal_state).take(), seal_block_count_offset);
    out.u16_le(log.byte_count.value_or(static_cast<std::uint16_t>(records.size()))).bytes(records.take());
    return out.take();
}

std::vector<std::uint8_t> build(const seal_data& data) {
    const auto length = data.device_id_length.value_or(static_cast<std::uint8_t>(data.device_id.size()));
    byte_builder out;
    out.padded(as_bytes(data.marker), seal_data_marker.size());
    out.u8(data.version_major).u8(data.version_minor).fill(2).u32_le(data.timestamp).fill(2);
    out.u8(length).u8(data.device_id_type).padded(data.device_id, max_device_id_size);
    out.bytes(data.pmf_hash).fill(seal_data_size - out.size());
    return out.take();
}

std::vector<std::uint8_t> build(const seal_signature& signature) {
    byte_builder out;
    out.u8(signature.version_major).u8(signature.version_minor).bytes(signature.version_reserved);
    out.u32_le(signature.algorithm).u32_le(signature.instance_id);
    out.u16_le(signature.odm_key_id).bytes(signature.key_reserved);
    out.u32_le(signature.public_key_length.value_or(static_cast<std::uint32_t>(signature.public_key.size())));
    out.padded(signature.public_key, seal_public_key_room);
    out.u32_le(signature.size.value_or(static_cast<std::uint32_t>(signature.value.size())));
    return out.padded(signature.value, seal_signature_field_size - out.size()).take();
}

bool sign_trusted_level_1(seal_signature& signature, byte_view seal_data, EVP_PKEY* key) {
    signature.algorithm = 0;
    signature.public_key.resize(static_cast<std::size_t>(std::max(i2d_PUBKEY(key, nullptr), 0)));
    unsigned char* der = signature.public_key.data();
    const digest_context context(EVP_MD_CTX_new());
    std::size_t size = static_cast<std::size_t>(EVP_PKEY_size(key));
    signature.value.resize(size);
    if (i2d_PUBKEY(key, &der) <= 0 || !context ||
        EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key) != 1) {
        return false;
    }
    const std::vector<std::uint8_t> message = signed_message(signature, seal_data);
    return EVP_DigestSign(context.get(), signature.value.data(), &size, message.data(), message.size()) == 1;
}

void sign_trusted_level_3(seal_signature& signature, byte_view seal_data) {
    signature.algorithm = 1;
    signature.odm_key_id = UINT16_MAX;
    signature.public_key.clear();
    const sha256_value digest = digest_of(signed_message(signature, seal_data));
    signature.value.assign(digest.begin(), digest.end());
}

}  // namespace vellum::lab
