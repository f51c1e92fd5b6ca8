#include "platform/standard_output.h"

#include <cstdio>

namespace vellum {

bool print_bytes(std::string_view bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0;
}

}  // namespace vellum
