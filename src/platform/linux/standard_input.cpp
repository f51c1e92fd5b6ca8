#include "platform/standard_input.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace vellum {

std::size_t read_standard_input(std::span<std::uint8_t> buffer) {
    ssize_t got = 0;
    do {
        got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    } while (got < 0 && errno == EINTR);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool standard_input_waits(std::chrono::milliseconds patience) {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, static_cast<int>(patience.count())) != 0;
}

}  // namespace vellum
