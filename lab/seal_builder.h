// Builds seal logs as the firmware delivers them, and the seal data and seal signature that go with them: well-formed
// by default, with a knob for every field so that any of them can lie.
#pragma once

#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "core/digest.h"

namespace vellum::lab {

struct seal_event {
    std::uint32_t id = 0;
    std::uint32_t timestamp = 0;
    std::vector<std::uint8_t> data;  // filled up with zeros to 156 bytes
};

// The seal data are bytes 4 and up of the event's data.
seal_event seal_configured(std::uint32_t timestamp, std::uint32_t instance_id, byte_view seal_data = {});
seal_event seal_enabled(std::uint32_t timestamp);
seal_event seal_broken(std::uint32_t timestamp, std::uint32_t reason, std::uint8_t boot, std::uint8_t execution);
seal_event seal_disabled(std::uint32_t timestamp, std::uint8_t post_boot, std::uint8_t status,
                         byte_view log_data = {});
seal_event disk_lock_removal(std::uint32_t timestamp, std::uint8_t boot, std::uint8_t execution);
seal_event disk_lock_not_present(std::uint32_t timestamp, std::uint8_t boot, std::uint8_t execution);
seal_event disk_lock_password_retrieved(std::uint32_t timestamp, std::uint8_t boot_stage, std::uint8_t boot,
                                        std::uint8_t execution);

std::vector<std::uint8_t> build(const std::vector<seal_event>& events);

// The block of the firmware's state response that begins with the seal state.
struct seal_log {
    std::uint32_t seal_state = 1;
    std::vector<seal_event> events;
    std::vector<std::uint8_t> trailing;       // behind the records
    std::optional<std::uint16_t> byte_count;  // the count that is claimed; absent: records and trailing bytes
};

std::vector<std::uint8_t> build(const seal_log& log);

// What seal_configured() takes.
struct seal_data {
    std::string marker = "KVR-SEAL";
    std::uint8_t version_major = 1;
    std::uint8_t version_minor = 1;
    std::uint32_t timestamp = 0;
    std::uint8_t device_id_type = 0;
    std::vector<std::uint8_t> device_id;
    std::optional<std::uint8_t> device_id_length;  // the length that is claimed
    sha384_value pmf_hash{};
};

std::vector<std::uint8_t> build(const seal_data& data);

struct seal_signature {
    std::uint8_t version_major = 1;
    std::uint8_t version_minor = 0;
    std::array<std::uint8_t, 2> version_reserved{};
    std::uint32_t algorithm = 0;
    std::uint32_t instance_id = 2;
    std::uint16_t odm_key_id = 0;
    std::array<std::uint8_t, 14> key_reserved{};
    std::vector<std::uint8_t> public_key;
    std::optional<std::uint32_t> public_key_length;  // the length that is claimed
    std::vector<std::uint8_t> value;
    std::optional<std::uint32_t> size;  // the size that is claimed
};

// The whole field of the state response.
std::vector<std::uint8_t> build(const seal_signature& signature);

// Puts the key's public part and the signature over the seal data and the fields set so far; false when the key
// cannot sign. Whatever is changed later breaks the signature.
[[nodiscard]] bool sign_trusted_level_1(seal_signature& signature, byte_view seal_data, EVP_PKEY* key);

// Makes the signature one without a key: no key identifier, no key, and the digest as its value.
void sign_trusted_level_3(seal_signature& signature, byte_view seal_data);

}  // namespace vellum::lab
