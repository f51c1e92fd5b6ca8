#include "fuzz/fuzz_session.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/log.h"

namespace vellum::fuzz {
namespace {

void run_check(byte_view input) {
    mute_console console;
    still_clock clock;
    unnamed_errors errors;
    log_start(console, clock, errors);
    set_console_threshold(log_level::trace);
    check(input);
    log_stop();
}

}  // namespace

void demand(bool condition, const char* sentence) {
    if (!condition) {
        std::fprintf(stderr, "A demand is not met: %s.\n", sentence);
        std::abort();
    }
}

std::vector<std::uint8_t> take_part(byte_reader& input) {
    std::uint32_t length = 0;
    byte_view part;
    const bool taken = input.u32_le(length) && input.view(std::min<std::size_t>(length, input.remaining()), part);
    return taken ? std::vector<std::uint8_t>(part.begin(), part.end()) : std::vector<std::uint8_t>();
}

std::string take_text(byte_reader& input) {
    const std::vector<std::uint8_t> part = take_part(input);
    return {part.begin(), part.end()};
}

const test::temp_dir& scratch() {
    static const test::temp_dir directory;
    return directory;
}

}  // namespace vellum::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vellum::fuzz::run_check({data, size});
    return 0;
}
