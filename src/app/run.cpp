#include "app/run.h"

#include <cstring>
#include <exception>
#include <string>

#include "app/command_line.h"
#include "app/compare_mode.h"
#include "app/logging_settings.h"
#include "app/unseal_mode.h"
#include "app/validate_mode.h"
#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/times.h"

namespace vellum {
namespace {

constexpr const char* program_version = VELLUM_VERSION;
constexpr int max_arguments = 32767;
constexpr std::size_t max_argument_length = 32767;

void print_banner(console& console, clock& time) {
    const std::string rule(63, '=');
    const std::string now = local_time_string(time.now(), time.utc_offset()).value_or("");
    console.write(console_stream::output,
                  rule + "\nNorvane(R) KVR Vellum\nVersion: " + program_version + "\n" + now + "\n" + rule + "\n\n");
}

result log_arguments(int argc, char** argv) {
    std::string joined;
    bool too_long = argc > max_arguments;
    for (int i = 0; i < argc && !too_long; ++i) {
        const std::size_t length = std::strlen(argv[i]);
        too_long = length > max_argument_length;
        joined.append(argv[i], length).push_back(' ');
    }
    if (too_long) {
        report("arguments-too-long"_id, "Passed cli arguments are too long.").field("limit", max_argument_length);
        return result::invalid;
    }
    log_to_file(log_level::brief, "Program has started (version %s)", program_version);
    log_to_file(log_level::brief, "Command line arguments: %s", shown_text(joined).c_str());
    return result::success;
}

int run_mode_of(const command_options& options, const platform& machine, run_observer* observer) {
    switch (options.mode) {
        case run_mode::validate: return run_validate_mode(options, machine, observer);
        case run_mode::unseal: return run_unseal_mode(options, machine);
        case run_mode::compare_log: break;
    }
    return run_compare_mode(options, machine, observer);
}

int run_program(int argc, char** argv, const platform& machine, run_observer* observer) {
    print_banner(machine.output, machine.time);
    command_options options;
    const result parsed = parse_command_line(argc, argv, machine.output, options);
    if (!ok(parsed)) {
        return exit_code(parsed);
    }
    if (observer != nullptr) {
        observer->started(options);
    }
    result started = start_logging(options);
    if (ok(started)) {
        started = log_arguments(argc, argv);
    }
    return ok(started) ? run_mode_of(options, machine, observer) : exit_code(started);
}

}  // namespace

int run(int argc, char** argv, const platform& machine, run_observer* observer) {
    machine.output.start();
    log_start(machine.output, machine.time, machine.errors);
    observe_findings(observer != nullptr);
    int code = exit_code(result::internal_failure);
    bool out_of_memory = false;
    try {
        code = run_program(argc, argv, machine, observer);
    } catch (const std::bad_alloc&) {
        out_of_memory = true;
        log_text(log_level::error, "Memory allocation error occurred.");
    } catch (const std::exception& error) {
        log_at(log_level::error, "Unexpected error occurred: %s.", shown_text(error.what()).c_str());
        note("run-broken-off"_id).field("value", error.what());
    }
    if (observer != nullptr) {
        observer->ended(code, out_of_memory);
    }
    flush_messages(log_level::error, "", flush_order::newest_first);
    log_stop();
    return code;
}

}  // namespace vellum
