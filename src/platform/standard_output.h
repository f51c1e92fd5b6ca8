// Standard output as bytes; windows/ and linux/ implement it.
#pragma once

#include <string_view>

namespace vellum {

// Prints a form as it would stand in a file: a system whose text has other line ends leaves these alone. False when
// it is not taken to its end.
[[nodiscard]] bool print_bytes(std::string_view bytes);

}  // namespace vellum
