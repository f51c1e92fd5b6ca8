#include "report/run_command.h"

#include <cstdio>

#include "base/text.h"
#include "native.h"  // of the system that the build is for
#include "platform/recorded/recorded.h"
#include "report/reported_run.h"
#include "report/run_request.h"
#include "tools/commands.h"

namespace vellum::reporting {

int run_command(std::span<char* const> arguments) {
    run_request request;
    const request_reading reading = read_run_request(arguments, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    native_platform native;
    if (!request.device) {
        return run_reported(request, native.services());
    }
    recorded_platform device(native.services());
    if (!ok(device.load(*request.device))) {
        return refuse_device(*request.device, device);
    }
    return run_reported(request, device.services());
}

}  // namespace vellum::reporting
