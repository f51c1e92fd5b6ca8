// What a library prints into a stream, as text; windows/ and linux/ implement it.
#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace vellum {

// Calls the function with a stream and returns what it has printed there. Nothing, and the function is not called,
// when the system gives no such stream; nothing also for a text that cannot be read back whole.
std::optional<std::string> printed_text(const std::function<void(std::FILE* stream)>& print);

}  // namespace vellum
