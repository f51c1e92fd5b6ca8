// The two ways of signing a seal, as seal signature, configuration and seal identity file number and name them.
#pragma once

#include <cstdint>
#include <string_view>

namespace vellum {

enum class signature_scheme : std::uint32_t {
    sha256_rsa_2048_pkcs1 = 0,   // trusted level 1
    sha256_null_encryption = 1,  // trusted level 3
    unknown = 2,
};

// The scheme of exactly this name, else unknown.
signature_scheme signature_scheme_id(std::string_view name);

// Empty for a number that has no name.
const char* signature_scheme_name(signature_scheme id);

}  // namespace vellum
