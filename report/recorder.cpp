#include "report/recorder.h"

#include <algorithm>
#include <new>

#include "app/stages.h"
#include "core/log_silence.h"
#include "platform/host_name.h"
#include "report/cautions.h"
#include "report/device_words.h"
#include "report/record_state.h"
#include "report/verdict.h"

namespace vellum::reporting {
namespace {

std::int64_t microseconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
}

const char* mode_name(run_mode mode) {
    switch (mode) {
        case run_mode::validate: return "validate";
        case run_mode::unseal: return "unseal";
        case run_mode::compare_log: break;
    }
    return "compare";
}

std::vector<finding_record> take_findings() {
    std::vector<finding_record> out;
    for (finding& kept : kept_findings()) {
        out.push_back(record_of(std::move(kept)));
    }
    return out;
}

stage_result result_of(const ended_stage& stage) {
    switch (stage.state) {
        case STAGE_FAILED: return stage_result::failed;
        case STAGE_SKIPPED: return stage_result::skipped;
        case STAGE_NOT_APPLICABLE: return stage_result::not_applicable;
        case STAGE_NOT_STARTED: return stage_result::not_started;
        case STAGE_PASSED: break;
    }
    if (stage.hidden) {
        return stage_result::hidden;
    }
    return stage.warned ? stage_result::warned : stage_result::passed;
}

stage_record& stage_of(run_record& record, std::size_t slot) {
    return *std::find_if(record.stages.begin(), record.stages.end(),
                         [slot](const stage_record& stage) { return stage.slot == slot; });
}

void add_root(std::vector<const char*>& roots, const char* id) {
    if (std::find_if(roots.begin(), roots.end(), [id](const char* root) { return std::string_view(root) == id; }) ==
        roots.end()) {
        roots.push_back(id);
    }
}

// A stage that failed is the root of those that were skipped for it, and of those that were skipped for them. One
// that was skipped for no other, but by the user's wish, is a root too.
void find_roots(run_record& record) {
    for (const auto& row : stage_rows()) {
        stage_record& stage = stage_of(record, row.slot);
        if (stage.result != stage_result::skipped) {
            continue;
        }
        for (const auto& needed : stage_rows()) {
            if (((row.needs | row.uses) >> needed.slot & 1U) == 0) {
                continue;
            }
            const stage_record& other = stage_of(record, needed.slot);
            if (other.result == stage_result::failed ||
                (other.result == stage_result::skipped && other.because_of.empty())) {
                add_root(stage.because_of, other.id);
            }
            for (const char* root : other.because_of) {
                add_root(stage.because_of, root);
            }
        }
    }
}

}  // namespace

finding_record record_of(finding kept) {
    finding_record out;
    out.meaning = words_of(kept.id);
    out.id = std::move(kept.id);
    out.lines = std::move(kept.lines);
    out.fields = std::move(kept.fields);
    return out;
}

run_record begin_record(std::span<char* const> arguments, const platform& machine) {
    run_record record;
    record.tool_version = VELLUM_VERSION;
    record.arguments.assign(arguments.begin(), arguments.end());
    record.host = host_name();
    record.started = machine.time.now();
    record.device_folder = machine.record_directory;
    for (const auto& row : stage_rows()) {
        stage_record& stage = record.stages.emplace_back();
        stage.slot = row.slot;
        stage.id = row.id;
        stage.title = row.name;
    }
    return record;
}

// A run goes on without a record for which there is no memory.
template <typename Work>
void recorder::note_down(Work work) {
    try {
        work();
    } catch (const std::bad_alloc&) {
        lost_ = true;
    }
}

void recorder::started(const command_options& options) {
    note_down([&] { record_.mode = mode_name(options.mode); });
}

void recorder::stage_started(std::size_t) {
    stage_begun_ = steady::now();
    ran_stages_ = true;
}

void recorder::stage_ended(const ended_stage& stage) {
    stage_record& out = stage_of(record_, stage.slot);
    out.result = result_of(stage);
    out.microseconds = microseconds_since(stage_begun_);
    note_down([&] {
        out.title = stage.name;
        out.note = stage.note;
        out.findings = take_findings();
    });
}

void recorder::look_at(const validation_state& state) {
    for (stage_record& stage : record_.stages) {
        if (state.stages.states[stage.slot] == STAGE_NOT_APPLICABLE) {
            stage.result = stage_result::not_applicable;
        }
    }
    find_roots(record_);
    record_state(state, record_);
    if (record_.evidence) {
        record_.evidence->of_device = words_of_device(state, record_);
    }
    add_cautions(state, machine_.time.now(), record_);
}

void recorder::concluded(const validation_state& state) {
    if (!ran_stages_) {
        return;
    }
    // What is looked at here may log and raise findings of its own, which are not the run's.
    const log_silence silence;
    const finding_mark mark = mark_findings();
    note_down([&] { look_at(state); });
    drop_findings(mark);
}

void recorder::ended(int exit_code, bool out_of_memory) {
    record_.exit_code = exit_code;
    record_.microseconds = microseconds_since(begun_);
    note_down([&] {
        record_.other_findings = take_findings();
        conclude_record(record_, ran_stages_, out_of_memory);
    });
}

}  // namespace vellum::reporting
