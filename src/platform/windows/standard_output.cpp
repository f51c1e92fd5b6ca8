#include "platform/standard_output.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace vellum {

bool print_bytes(std::string_view bytes) {
    std::fflush(stdout);  // what was printed as text
    const int before = ::_setmode(::_fileno(stdout), _O_BINARY);
    const bool printed =
        std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0;
    if (before != -1) {
        ::_setmode(::_fileno(stdout), before);
    }
    return printed;
}

}  // namespace vellum
