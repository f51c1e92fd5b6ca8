// Builds TCG event logs (TCG PC Client Platform Firmware Profile, crypto-agile layout), well-formed by default, with
// a knob for every field so that any of them can lie.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vellum::lab {

enum hash_algorithm : std::uint16_t {
    TPM_ALG_SHA1 = 0x0004,
    TPM_ALG_SHA256 = 0x000B,
    TPM_ALG_SHA384 = 0x000C,
    TPM_ALG_SHA512 = 0x000D,
    TPM_ALG_SM3_256 = 0x0012,
};

struct log_digest {
    std::uint16_t algorithm = TPM_ALG_SHA256;
    std::vector<std::uint8_t> value;
};

struct log_event {
    std::uint32_t pcr = 0;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;

    // Absent: the digests of the data in the banks that the Spec ID event lists, zeros for an informational event.
    std::optional<std::vector<log_digest>> digests;
    std::optional<std::uint32_t> digest_count;  // the count that is claimed
    std::optional<std::uint32_t> data_size;     // the size that is claimed
};

struct log_bank {
    std::uint16_t algorithm;
    std::uint16_t digest_size;
};

// The first record of the log.
struct spec_id_event {
    std::uint32_t pcr = 0;
    std::uint32_t type = 3;
    std::string signature{"Spec ID Event03\0", 16};
    std::uint32_t platform_class = 0;
    std::uint8_t version_minor = 0;
    std::uint8_t version_major = 2;
    std::uint8_t errata = 0;
    std::uint8_t uintn_size = 2;
    std::vector<log_bank> banks = {{TPM_ALG_SHA1, 20}, {TPM_ALG_SHA256, 32}};
    std::optional<std::uint32_t> bank_count;  // the count that is claimed
    std::string vendor_info;
    std::optional<std::uint32_t> data_size;  // the size that is claimed
};

struct event_log {
    std::optional<spec_id_event> spec_id = spec_id_event();  // none: every event in the legacy SHA-1 layout
    std::vector<log_event> events;
};

std::vector<std::uint8_t> build(const event_log& log);

// One event in the crypto-agile layout, in a log of these banks.
std::vector<std::uint8_t> build(const log_event& event, const std::vector<log_bank>& banks);

// Whether the crypto library has the bank's algorithm, with digests of the bank's size.
bool can_hash(const log_bank& bank);

log_event text_event(std::uint32_t pcr, std::uint32_t type, std::string_view text);
log_event startup_locality(std::uint8_t locality);
log_event separator(std::uint32_t pcr);

}  // namespace vellum::lab
