#include "report/run_command.h"

#include <cstdio>

#include "base/text.h"
#include "native.h"  // of the system that the build is for
#include "platform/recorded/recorded.h"
#include "report/reported_run.h"
#include "report/run_request.h"
#include "tools/commands.h"

namespace vellum::reporting {

namespace {

int run_recorded(const run_request& request, const platform& native) {
    recorded_platform device(native);
    return ok(device.load(*request.device)) ? run_reported(request, device.services())
                                            : refuse_device(*request.device, device);
}

}  // namespace

int run_command(std::span<char* const> arguments) {
    run_request request;
    const request_reading reading = read_run_request(arguments, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    return with_memory(request, [&] {
        native_platform native;
        return request.device ? run_recorded(request, native.services()) : run_reported(request, native.services());
    });
}

}  // namespace vellum::reporting
