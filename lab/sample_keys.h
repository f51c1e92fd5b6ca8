// The private keys of forged devices: RSA, 2048 bits, always the same, so that a forged device is the same to the
// byte whenever and wherever it is made.
#pragma once

#include <openssl/evp.h>

namespace vellum::lab {

enum class sample_key_name { root_ca, intermediate_ca, manufacturer, seal, attestation };

// The key stays the function's own. Null when the library cannot read it.
EVP_PKEY* sample_key(sample_key_name name);

}  // namespace vellum::lab
