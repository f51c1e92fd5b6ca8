#include "core/openssl.h"

#include <openssl/crypto.h>
#include <openssl/err.h>

#include <array>

namespace vellum {

void start_openssl() {
    // The system-wide configuration cannot change a digest or a signature, and nothing here is enciphered. Without
    // that and without the list of ciphers the start takes a third of the time.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ADD_ALL_CIPHERS, nullptr);
    ERR_clear_error();
}

std::string openssl_error_text() {
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    if (code == 0) {
        return "unknown error";
    }
    std::array<char, 256> text{};
    ERR_error_string_n(code, text.data(), text.size());
    return text.data();
}

}  // namespace vellum
