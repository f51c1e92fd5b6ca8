// What the machine calls itself; windows/ and linux/ implement it.
#pragma once

#include <string>

namespace vellum {

// UTF-8; empty when the system does not say.
std::string host_name();

}  // namespace vellum
