#include "core/digest.h"

#include <openssl/evp.h>

#include "core/findings.h"
#include "core/log.h"
#include "core/openssl.h"

namespace vellum {
namespace {

result failed(const char* text) {
    log_at(log_level::error, "%s", text);
    note("digest-not-computed"_id).field("value", text);
    return result::io_failure;
}

// Null for a bank that the library has no hash for.
const EVP_MD* algorithm_of_bank(std::uint16_t algorithm) {
    switch (algorithm) {
        case 0x0004: return EVP_sha1();
        case 0x000B: return EVP_sha256();
        case 0x000C: return EVP_sha384();
        case 0x000D: return EVP_sha512();
        case 0x0012: return EVP_get_digestbyname("SM3");
        default: return nullptr;
    }
}

}  // namespace

void hasher::free_context::operator()(evp_md_ctx_st* context) const {
    EVP_MD_CTX_free(context);
}

hasher::hasher(const evp_md_st* algorithm) {
    start_openssl();
    context_.reset(EVP_MD_CTX_new());
    size_ = static_cast<std::size_t>(EVP_MD_size(algorithm));
    usable_ = context_ && EVP_DigestInit_ex(context_.get(), algorithm, nullptr) == 1;
}

hasher hasher::sha256() {
    return hasher(EVP_sha256());
}

hasher hasher::sha384() {
    return hasher(EVP_sha384());
}

std::optional<hasher> hasher::of_bank(std::uint16_t algorithm) {
    start_openssl();
    const EVP_MD* const found = algorithm_of_bank(algorithm);
    return found != nullptr ? std::optional(hasher(found)) : std::nullopt;
}

result hasher::start() {
    // Initialising without an algorithm keeps the one that the context already holds.
    const bool started = usable_ && EVP_DigestInit_ex(context_.get(), nullptr, nullptr) == 1;
    return started ? result::success : failed("Setting up hash context failed.");
}

result hasher::add(byte_view part) {
    const bool added = usable_ && EVP_DigestUpdate(context_.get(), part.data(), part.size()) == 1;
    return added ? result::success : failed("Preparing data to be hashed failed.");
}

result hasher::finish(std::span<std::uint8_t> out) {
    const bool finished =
        usable_ && out.size() == size_ && EVP_DigestFinal_ex(context_.get(), out.data(), nullptr) == 1;
    return finished ? result::success : failed("Data digest computation failed.");
}

result hasher::hash(std::initializer_list<byte_view> parts, std::span<std::uint8_t> out) {
    RETURN_IF_FAILED(start());
    for (const byte_view part : parts) {
        RETURN_IF_FAILED(add(part));
    }
    return finish(out);
}

result sha256(byte_view data, sha256_value& out) {
    static hasher shared = hasher::sha256();
    return shared.hash({data}, out);
}

result sha384(byte_view data, sha384_value& out) {
    static hasher shared = hasher::sha384();
    return shared.hash({data}, out);
}

}  // namespace vellum
