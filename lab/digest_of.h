// Hashes of what the lab itself makes.
#pragma once

#include <stdexcept>

#include "core/digest.h"

namespace vellum::lab {

// A library that cannot hash makes no device.
inline sha256_value digest_of(byte_view data) {
    sha256_value digest{};
    if (!ok(sha256(data, digest))) {
        throw std::runtime_error("SHA-256 cannot be computed");
    }
    return digest;
}

}  // namespace vellum::lab
