#include "report/reported_run.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "app/run.h"
#include "base/path.h"
#include "base/text.h"
#include "platform/interruption.h"
#include "platform/standard_output.h"
#include "platform/whole_file.h"
#include "report/forms.h"
#include "report/listening_console.h"
#include "report/recorder.h"
#include "report/verdict.h"
#include "tools/commands.h"
#include "tools/write_file.h"

namespace vellum::reporting {
namespace {

constexpr int report_lost = 1;

using written_forms = std::vector<std::string>;  // by report

// A line or a field takes a part of what a row takes.
std::size_t rows_of(const std::vector<finding_record>& findings) {
    std::size_t rows = findings.size();
    for (const finding_record& finding : findings) {
        rows += (finding.lines.size() + finding.fields.size()) / 4;
    }
    return rows;
}

// The library behind JSON takes memory also to free what it has, and ends the program when there is none. So the
// memory that the largest form may take is asked for before, and given back; bad_alloc when there is not so much.
void demand_memory_for(const run_record& record) {
    constexpr std::size_t of_any_report = std::size_t{1} * 1024 * 1024;
    constexpr std::size_t of_one_row = std::size_t{4} * 1024;
    std::size_t rows = record.events.size() + record.differences.size() + rows_of(record.other_findings) +
                       record.cautions.size() + record.device.history.size() + record.pmf.partitions.size() +
                       record.measured_partitions.size() + record.log_health.size() + record.probable_causes.size() +
                       record.pmf.signers.size() + record.inputs.size();
    for (const stage_record& stage : record.stages) {
        rows += rows_of(stage.findings);
    }
    const auto room = std::make_unique_for_overwrite<char[]>(of_any_report + rows * of_one_row);
    volatile char* const used = room.get();  // else a compiler may do without what nobody looks at
    *used = 0;
}

written_forms write_forms(const run_request& request, const run_record& record) {
    demand_memory_for(record);
    written_forms out;
    for (const report_order& order : request.reports) {
        out.push_back(order.form(record));
    }
    return out;
}

void complain(const std::string& target, const std::string& why) {
    std::fprintf(stderr, "vellum-report: cannot write %s: %s\n", target.c_str(), why.c_str());
}

// A report of an earlier run does not stay for one that could not be made.
void lose_reports(const run_request& request) {
    std::fputs("vellum-report: not enough memory for the report\n", stderr);
    try {
        for (const report_order& order : request.reports) {
            std::error_code error;
            const std::filesystem::path path = path_of(order.path);
            if (order.path != standard_output && is_regular_file(symlink_status(path, error))) {
                remove(path, error);
            }
        }
    } catch (const std::bad_alloc&) {
        std::fputs("vellum-report: reports of an earlier run may be there\n", stderr);
    }
}

[[nodiscard]] bool print_form(const std::string& form) {
    const bool printed = print_bytes(form);
    if (!printed) {
        complain("the report to standard output", "it does not take it");
    }
    return printed;
}

[[nodiscard]] bool write_form(const std::string& path, const std::string& form, system_errors& errors) {
    const file_writing writing = write_whole_file(path, form);
    if (writing.how != file_writing::done) {
        complain('"' + shown_text(path) + '"', reason_of(writing, errors));
    }
    return writing.how == file_writing::done;
}

[[nodiscard]] bool deliver(const run_request& request, const written_forms& forms, system_errors& errors) {
    bool delivered = true;
    for (std::size_t i = 0; i < forms.size(); ++i) {
        const std::string& path = request.reports[i].path;
        const bool written = path == standard_output ? print_form(forms[i]) : write_form(path, forms[i], errors);
        delivered = written && delivered;
    }
    return delivered;
}

// The first line in which the run complains, of those without a level the one that names the program.
std::string complaint_in(const std::vector<std::string>& lines) {
    for (const std::string_view line : lines) {
        if (line.starts_with("vellum: ") || line.starts_with("ERROR: ")) {
            return std::string(trim(line));
        }
    }
    return "";
}

// Of a run that ended early without a finding that has lines it tells what the run said itself.
void add_last_words(const listening_console& console, run_record& record) {
    std::vector<finding_record>& findings = record.other_findings;
    const bool told = std::any_of(findings.begin(), findings.end(), [](const auto& it) { return !it.lines.empty(); });
    if (record.verdict != run_verdict::ended_early || told) {
        return;
    }
    if (findings.empty()) {
        finding_record& said = findings.emplace_back();
        said.id = "run-ended-early";
        said.meaning = words_of(said.id);
    }
    findings.front().lines = console.last_lines();
    if (const std::string complaint = complaint_in(findings.front().lines); !complaint.empty()) {
        record.cause_says = complaint;
    }
}

class reported_run {
  public:
    reported_run(const run_request& request, const platform& machine, const std::optional<evidence_record>& evidence)
        : request_(request),
          console_(machine.output, request.takes_standard_output()),
          machine_(with_console(machine, console_)) {
        arguments_.push_back("vellum");
        arguments_.insert(arguments_.end(), request.options.begin(), request.options.end());
        pointers_ = argv_of(arguments_);
        record_ = begin_record(pointers_, machine_);
        record_.evidence = evidence;
    }

    // Sets the exit code of vellum; false when a report could not be delivered.
    [[nodiscard]] bool run(int& code);

    // Reports that the evidence is refused in place of a run.
    void refuse();

  private:
    static platform with_console(const platform& machine, console& output) {
        return {output,         machine.time, machine.errors,      machine.firmware,  machine.tpm,
                machine.tables, machine.os,   machine.directories, machine.boot_disk, machine.record_directory};
    }

    void report_interruption(const run_record& before, const std::string& signal);
    [[nodiscard]] bool report();
    [[nodiscard]] bool report_lack_of_memory(const run_record& before, int code);

    const run_request& request_;
    listening_console console_;
    platform machine_;
    std::vector<std::string> arguments_;
    std::vector<char*> pointers_;
    run_record record_;
    std::mutex reporting_;  // held by the one who reports
    bool is_over_ = false;  // somebody has reported, or begins to
};

// In a thread of its own, where nobody else catches. A run that is over by then has its own report.
void reported_run::report_interruption(const run_record& before, const std::string& signal) {
    const std::lock_guard<std::mutex> lock(reporting_);
    if (is_over_) {
        return;
    }
    is_over_ = true;
    try {
        run_record record = before;
        record.verdict = run_verdict::interrupted;
        record.signal = signal;
        record.cause = words_of("run-interrupted");
        record.cause_says = "The run was interrupted by " + signal + ".";
        static_cast<void>(deliver(request_, write_forms(request_, record), machine_.errors));
    } catch (const std::bad_alloc&) {
        lose_reports(request_);
    }
}

bool reported_run::report() {
    add_last_words(console_, record_);
    return deliver(request_, write_forms(request_, record_), machine_.errors);
}

bool reported_run::report_lack_of_memory(const run_record& before, int code) {
    record_ = before;
    record_.exit_code = code;
    conclude_record(record_, false, true);
    static_cast<void>(deliver(request_, write_forms(request_, record_), machine_.errors));
    return false;
}

void reported_run::refuse() {
    refuse_record(record_);
    static_cast<void>(report());
}

bool reported_run::run(int& code) {
    const run_record before = record_;
    recorder watcher(machine_, record_);
    const interruption_watch watch([&](const std::string& signal) { report_interruption(before, signal); });
    code = vellum::run(static_cast<int>(pointers_.size()), pointers_.data(), machine_, &watcher);
    const std::lock_guard<std::mutex> lock(reporting_);
    if (is_over_) {
        return false;  // an interruption has reported, and is about to end the program
    }
    is_over_ = true;
    try {
        return watcher.lost() ? report_lack_of_memory(before, code) : report();
    } catch (const std::bad_alloc&) {
        return report_lack_of_memory(before, code);
    }
}

}  // namespace

int run_reported(const run_request& request, const platform& machine,
                 const std::optional<evidence_record>& evidence) {
    const bool refused = evidence && !evidence->accepted;
    int code = refused ? evidence_refused : report_lost;
    bool reported = false;
    try {
        reported_run watched(request, machine, evidence);
        if (refused) {
            watched.refuse();
            return code;
        }
        reported = watched.run(code);
    } catch (const std::bad_alloc&) {
        lose_reports(request);
    }
    // What the run says does not wait for its report: its exit code stands unless it would hide that the report is
    // lost.
    return code == 0 && !reported ? report_lost : code;
}

int with_memory(const run_request& request, const std::function<int()>& command) {
    try {
        return command();
    } catch (const std::bad_alloc&) {
        lose_reports(request);
        return report_lost;
    }
}

int refuse_device(const std::string& directory, const recorded_platform& device) {
    std::fprintf(stderr, "vellum-report: \"%s\" is not a recorded device: %s.\n", shown_text(directory).c_str(),
                 device.problem().c_str());
    return usage_error;
}

}  // namespace vellum::reporting
