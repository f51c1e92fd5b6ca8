#include "report/verify_command.h"

#include <cstdio>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "base/text.h"
#include "native.h"  // of the system that the build is for
#include "platform/mute_console.h"
#include "report/identity.h"
#include "report/reported_run.h"
#include "report/verification.h"
#include "tools/commands.h"

namespace vellum::reporting {
namespace {

// Whether vellum would do something else than validate. What it does not understand it says itself.
[[nodiscard]] bool asks_for_another_mode(const verify_request& request) {
    std::vector<std::string> words = {"vellum"};
    words.insert(words.end(), request.run.options.begin(), request.run.options.end());
    std::vector<char*> argv = argv_of(words);
    mute_console mute;
    command_options options;
    return ok(parse_command_line(static_cast<int>(argv.size()), argv.data(), mute, options)) &&
           options.mode != run_mode::validate;
}

int verify(const verify_request& request) {
    std::string why;
    const std::optional<device_identity> identity = read_identity(request.identity, why);
    if (!identity) {
        std::fprintf(stderr, "vellum-report: \"%s\" is no identity: %s.\n", shown_text(request.identity).c_str(),
                     why.c_str());
        return usage_error;
    }
    native_platform native;
    return verify_recording(request, *identity, native.services());
}

}  // namespace

int verify_command(std::span<char* const> arguments) {
    verify_request request;
    const request_reading reading = read_verify_request(arguments, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    if (asks_for_another_mode(request)) {
        std::fputs("vellum-report verify: evidence is for a validation, and nothing else is run on it.\n", stderr);
        return usage_error;
    }
    return with_memory(request.run, [&] { return verify(request); });
}

}  // namespace vellum::reporting
