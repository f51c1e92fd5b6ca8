#include "core/digest.h"

#include "core/openssl.h"

#include "core/log.h"

namespace vellum {

hasher::hasher(const EVP_MD* algorithm) {
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

result hasher::start() {
    // Initialising without an algorithm keeps the one that the context already holds.
    if (!usable_ || EVP_DigestInit_ex(context_.get(), nullptr, nullptr) != 1) {
        log_at(log_level::error, "Setting up hash context failed.\n");
        return result::io_failure;
    }
    return result::success;
}

result hasher::add(byte_view part) {
    if (!usable_ || EVP_DigestUpdate(context_.get(), part.data(), part.size()) != 1) {
        log_at(log_level::error, "Preparing data to be hashed failed.\n");
        return result::io_failure;
    }
    return result::success;
}

result hasher::finish(std::span<std::uint8_t> out) {
    if (!usable_ || out.size() != size_ || EVP_DigestFinal_ex(context_.get(), out.data(), nullptr) != 1) {
        log_at(log_level::error, "Data digest computation failed.\n");
        return result::io_failure;
    }
    return result::success;
}

result hasher::hash(std::initializer_list<byte_view> parts, std::span<std::uint8_t> out) {
    if (const result started = start(); !ok(started)) {
        return started;
    }
    for (const byte_view part : parts) {
        if (const result added = add(part); !ok(added)) {
            return added;
        }
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
