// Message digests (FIPS 180-4) by OpenSSL. A hasher keeps its context and algorithm, so that hashing many small
// messages pays for the look-up once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>

#include "base/bytes.h"
#include "base/result.h"

// The library's context and algorithm, so that who hashes need not include its headers.
struct evp_md_ctx_st;
struct evp_md_st;

namespace vellum {

using sha256_value = std::array<std::uint8_t, 32>;
using sha384_value = std::array<std::uint8_t, 48>;

class hasher {
  public:
    static hasher sha256();
    static hasher sha384();

    // Of a PCR bank, by its TPM_ALG_ID: SHA-1, SHA-256, SHA-384, SHA-512 or SM3; nothing for one that the library
    // does not have.
    static std::optional<hasher> of_bank(std::uint16_t algorithm);

    // Bytes of a digest.
    std::size_t size() const { return size_; }

    // The digest of the parts one after another. `out` must have the digest's size. Fails with io_failure and logs
    // the step; `out` is then undefined.
    result hash(std::initializer_list<byte_view> parts, std::span<std::uint8_t> out);

    // The same in steps, for what does not lie in memory at once: start, any number of adds, finish. Fails with
    // io_failure, finish also when `out` has another size; the next start begins afresh.
    result start();
    result add(byte_view part);
    result finish(std::span<std::uint8_t> out);

  private:
    struct free_context {
        void operator()(evp_md_ctx_st* context) const;
    };

    explicit hasher(const evp_md_st* algorithm);

    std::unique_ptr<evp_md_ctx_st, free_context> context_;
    std::size_t size_ = 0;
    bool usable_ = false;
};

// The digest of one buffer, by a hasher that lives as long as the program.
result sha256(byte_view data, sha256_value& out);
result sha384(byte_view data, sha384_value& out);

}  // namespace vellum
