#include "platform/host_name.h"

#include <unistd.h>

#include <array>

namespace vellum {

std::string host_name() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? std::string(name.data()) : std::string();
}

}  // namespace vellum
