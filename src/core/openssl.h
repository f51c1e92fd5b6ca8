// What every user of OpenSSL shares: the start of the library, and the text of its last failure.
#pragma once

#include <string>

namespace vellum {

// Starts the library without the system-wide configuration and empties its error queue, so that the next failure is
// not taken for an older one. To be called at the beginning of an operation; starting again costs nothing.
void start_openssl();

// The oldest entry of the library's error queue, which names the cause, as text. Empties the queue.
std::string openssl_error_text();

}  // namespace vellum
