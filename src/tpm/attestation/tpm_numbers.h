// The numbers of the TPM 2.0 Library (Part 2: Structures) that a quote takes, and the way to write them: big-endian.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "base/bytes.h"

namespace vellum::tpm {

inline constexpr std::uint16_t alg_rsa = 0x0001;
inline constexpr std::uint16_t alg_sha256 = 0x000B;
inline constexpr std::uint16_t alg_null = 0x0010;
inline constexpr std::uint16_t alg_rsassa = 0x0014;
inline constexpr std::uint16_t alg_ecdsa = 0x0018;
inline constexpr std::uint16_t alg_ecc = 0x0023;
inline constexpr std::uint16_t curve_p256 = 0x0003;

inline constexpr std::uint16_t tag_no_sessions = 0x8001;
inline constexpr std::uint16_t tag_sessions = 0x8002;
inline constexpr std::uint16_t tag_attest_quote = 0x8018;

inline constexpr std::uint32_t command_create_primary = 0x131;
inline constexpr std::uint32_t command_quote = 0x158;
inline constexpr std::uint32_t command_flush_context = 0x165;

inline constexpr std::uint32_t password_session = 0x40000009;
inline constexpr std::uint32_t endorsement_hierarchy = 0x4000000B;

inline constexpr std::uint32_t rc_command_code = 0x143;

// Stands at the head of everything that a TPM signs about itself. A restricted key signs nothing from outside that
// begins with it.
inline constexpr std::uint32_t generated_value = 0xFF544347;

// Of an object: what can be done with it.
inline constexpr std::uint32_t fixed_tpm = 1U << 1;
inline constexpr std::uint32_t fixed_parent = 1U << 4;
inline constexpr std::uint32_t sensitive_data_origin = 1U << 5;
inline constexpr std::uint32_t user_with_auth = 1U << 6;
inline constexpr std::uint32_t no_da = 1U << 10;
inline constexpr std::uint32_t restricted = 1U << 16;
inline constexpr std::uint32_t sign = 1U << 18;

// Behind its length in two bytes (TPM2B).
[[nodiscard]] inline bool read_sized(byte_reader& reader, byte_view& out) {
    std::uint16_t size = 0;
    return reader.u16_be(size) && reader.view(size, out);
}

class writer {
  public:
    writer& u8(std::uint8_t value) { return number(value, 1); }
    writer& u16(std::uint16_t value) { return number(value, 2); }
    writer& u32(std::uint32_t value) { return number(value, 4); }

    writer& bytes(byte_view data) {
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        return *this;
    }

    // Behind their length in two bytes (TPM2B); no more than that can say.
    writer& sized(byte_view data) { return u16(static_cast<std::uint16_t>(data.size())).bytes(data); }

    std::vector<std::uint8_t> take() { return std::move(bytes_); }

  private:
    writer& number(std::uint32_t value, unsigned width) {
        for (unsigned left = width; left > 0; --left) {
            bytes_.push_back(static_cast<std::uint8_t>(value >> 8 * (left - 1)));
        }
        return *this;
    }

    std::vector<std::uint8_t> bytes_;
};

}  // namespace vellum::tpm
