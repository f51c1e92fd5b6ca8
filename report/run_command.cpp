#include "report/run_command.h"

#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "app/run.h"
#include "base/text.h"
#include "native.h"  // of the system that the build is for
#include "platform/interruption.h"
#include "platform/recorded/recorded.h"
#include "platform/whole_file.h"
#include "report/forms.h"
#include "report/listening_console.h"
#include "report/recorder.h"
#include "report/run_request.h"
#include "report/verdict.h"

namespace vellum::reporting {
namespace {

constexpr int usage_error = 3;
constexpr int report_lost = 1;

using written_forms = std::vector<std::string>;  // by report

written_forms write_forms(const run_request& request, const run_record& record) {
    written_forms out;
    for (const report_order& order : request.reports) {
        out.push_back(order.form(record));
    }
    return out;
}

void complain(const report_order& order, const file_writing& writing, system_errors& errors) {
    const std::string path = shown_text(order.path);
    const std::string why = writing.how == file_writing::not_replaced
                                ? "what is there is no file that could be replaced"
                                : shown_text(errors.text(writing.reason).value_or("the system does not say why"));
    std::fprintf(stderr, "vellum-report: cannot write \"%s\": %s\n", path.c_str(), why.c_str());
}

[[nodiscard]] bool deliver(const run_request& request, const written_forms& forms, system_errors& errors) {
    bool delivered = true;
    for (std::size_t i = 0; i < forms.size(); ++i) {
        const report_order& order = request.reports[i];
        if (order.path == standard_output) {
            delivered = std::fwrite(forms[i].data(), 1, forms[i].size(), stdout) == forms[i].size() &&
                        std::fflush(stdout) == 0 && delivered;
            continue;
        }
        const file_writing writing = write_whole_file(order.path, forms[i]);
        if (writing.how != file_writing::done) {
            complain(order, writing, errors);
            delivered = false;
        }
    }
    return delivered;
}

// Says of a run that gave no finding what it said itself.
void add_last_words(const listening_console& console, run_record& record) {
    if (record.verdict != run_verdict::ended_early || !record.other_findings.empty()) {
        return;
    }
    finding_record said;
    said.id = "run-ended-early";
    said.meaning = words_of(said.id);
    said.lines = console.last_lines();
    record.other_findings.push_back(std::move(said));
}

class reported_run {
  public:
    reported_run(const run_request& request, const platform& machine)
        : request_(request),
          console_(machine.output, request.takes_standard_output()),
          machine_(with_console(machine, console_)) {
        arguments_.push_back("vellum");
        arguments_.insert(arguments_.end(), request.options.begin(), request.options.end());
        for (std::string& argument : arguments_) {
            pointers_.push_back(argument.data());
        }
        record_ = begin_record(pointers_, machine_);
    }

    int run();

  private:
    static platform with_console(const platform& machine, console& output) {
        return {output,         machine.time, machine.errors,      machine.firmware,  machine.tpm,
                machine.tables, machine.os,   machine.directories, machine.boot_disk, machine.record_directory};
    }

    void report_interruption(const run_record& before, const std::string& signal);
    [[nodiscard]] bool report(const written_forms& without_memory);

    const run_request& request_;
    listening_console console_;
    platform machine_;
    std::vector<std::string> arguments_;
    std::vector<char*> pointers_;
    run_record record_;
};

void reported_run::report_interruption(const run_record& before, const std::string& signal) {
    run_record record = before;
    record.verdict = run_verdict::interrupted;
    record.signal = signal;
    record.cause = words_of("run-interrupted");
    record.cause_says = "The run was interrupted by " + signal + ".";
    static_cast<void>(deliver(request_, write_forms(request_, record), machine_.errors));
}

bool reported_run::report(const written_forms& without_memory) {
    try {
        add_last_words(console_, record_);
        return deliver(request_, write_forms(request_, record_), machine_.errors);
    } catch (const std::bad_alloc&) {
        return deliver(request_, without_memory, machine_.errors);
    }
}

int reported_run::run() {
    const run_record before = record_;
    run_record lost = before;
    conclude_record(lost, false, true);
    const written_forms without_memory = write_forms(request_, lost);
    recorder watcher(machine_, record_);
    int code = 0;
    {
        const interruption_watch watch([&](const std::string& signal) { report_interruption(before, signal); });
        code = vellum::run(static_cast<int>(pointers_.size()), pointers_.data(), machine_, &watcher);
    }
    const bool reported = report(without_memory);
    return code == 0 && !reported ? report_lost : code;
}

}  // namespace

int run_command(std::span<char* const> arguments) {
    run_request request;
    const request_reading reading = read_run_request(arguments, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    native_platform native;
    if (!request.device) {
        return reported_run(request, native.services()).run();
    }
    recorded_platform device(native.services());
    if (!ok(device.load(*request.device))) {
        std::fprintf(stderr, "vellum-report: \"%s\" is not a recorded device: %s.\n",
                     shown_text(*request.device).c_str(), device.problem().c_str());
        return usage_error;
    }
    return reported_run(request, device.services()).run();
}

}  // namespace vellum::reporting
