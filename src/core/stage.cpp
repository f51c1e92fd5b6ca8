#include "core/stage.h"
#include "core/findings.h"

namespace vellum {
namespace {

constexpr std::size_t label_size = 500;
constexpr int label_width = 80;
constexpr std::size_t banner_width = 61;

struct result_word {
    std::string_view text;
    colour foreground;
};

constexpr result_word ok_word = {"OK", colour::green};
constexpr result_word failed_word = {"FAILED", colour::red};
constexpr result_word skipped_word = {"SKIPPED", colour::grey};

// "NAME: " left-justified in 80 columns. A label that does not fit its buffer is a program error.
std::string padded_label(std::string_view name) {
    std::string label(name);
    label += ": ";
    if (label.size() >= label_size) {
        log_at(log_level::error, "The stage name is too long: %zu characters.", name.size());
        label.resize(label_size - 1);
    }
    if (label.size() < label_width) {
        label.resize(label_width, ' ');
    }
    return label;
}

void print_on_console(const std::string& label, const result_word& word, std::string_view note) {
    write_console(log_level::info, label);
    write_console(log_level::info, word.text, word.foreground);
    if (note.empty()) {
        write_console(log_level::info, "\n");
        return;
    }
    const std::string text = "(" + std::string(note) + ")\n";
    write_console(log_level::info, " ");
    if (word.foreground == ok_word.foreground) {
        write_console(log_level::info, text, colour::yellow);
    } else {
        write_console(log_level::info, text);
    }
}

void print_in_file(const std::string& label, const result_word& word, std::string_view note) {
    log_to_file(log_level::info, "%s", label.c_str());
    const std::string text(word.text);
    if (note.empty()) {
        write_file(log_level::info, text + "\n");
        return;
    }
    log_to_file(log_level::info, "%s ", text.c_str());
    write_file(log_level::info, "(" + std::string(note) + ")\n");
}

void print_result(std::string_view name, const result_word& word, std::string_view note) {
    const std::string label = padded_label(name);
    print_on_console(label, word, note);
    print_in_file(label, word, note);
}

struct stage_counts {
    int not_started = 0;
    int failed = 0;
    int skipped = 0;
    int passed = 0;
    int not_applicable = 0;
    int unknown = 0;
};

stage_counts count_states(const stage_table& table) {
    stage_counts counts;
    for (const stage_state state : table.states) {
        switch (state) {
            case STAGE_NOT_STARTED: ++counts.not_started; break;
            case STAGE_FAILED: ++counts.failed; break;
            case STAGE_SKIPPED: ++counts.skipped; break;
            case STAGE_PASSED: ++counts.passed; break;
            case STAGE_NOT_APPLICABLE: ++counts.not_applicable; break;
            default: ++counts.unknown; break;
        }
    }
    return counts;
}

struct verdict_line {
    const char* text;
    colour foreground;
};

verdict_line choose_verdict(const stage_counts& counts) {
    constexpr int all = static_cast<int>(stage_count);
    if (counts.failed == 0 && counts.passed == 0 && counts.skipped == all) {
        return {"Validation SKIPPED", colour::yellow};
    }
    if (counts.failed == 0 && counts.passed + counts.skipped + counts.not_applicable == all) {
        return {"Validation PASSED", colour::green};
    }
    return {"Validation FAILED", colour::red};
}

void write_raw(std::string_view text) {
    write_console(log_level::brief, text);
    write_file(log_level::brief, text);
}

void write_raw(std::string_view text, colour foreground) {
    write_console(log_level::brief, text, foreground);
    write_file(log_level::brief, text);
}

// The title in colour when there is something to count.
void write_count(const char* title, int count, colour foreground) {
    if (count > 0) {
        write_raw(title, foreground);
    } else {
        write_raw(title);
    }
    write_raw(std::to_string(count));
}

void print_verdict(const stage_counts& counts, int warnings) {
    const verdict_line line = choose_verdict(counts);
    write_console(log_level::brief, line.text, line.foreground);
    log_to_file(log_level::brief, "%s", line.text);
    if (counts.skipped > 0) {
        write_raw(", some tests were skipped");
    }
    write_raw(" (");
    write_count("passed: ", counts.passed, colour::green);
    if (warnings != 0) {
        write_raw("(" + std::to_string(warnings) + " ");
        write_raw("with warnings", colour::yellow);
        write_raw(")");
    }
    write_raw(", ");
    write_count("failed: ", counts.failed, colour::red);
    write_raw(", ");
    write_count("skipped: ", counts.skipped, colour::grey);
    if (counts.not_started > 0) {
        write_raw(", ");
        write_raw("not started: " + std::to_string(counts.not_started), colour::red);
    }
    write_raw(")\n");
}

void tell(const stage_table& table, const ended_stage& stage) {
    if (table.observer != nullptr) {
        table.observer->stage_ended(stage);
    }
}

}  // namespace

void stage_begin(const char* name) {
    log_to_file(log_level::debug, "%s", std::string(banner_width, '=').c_str());
    log_to_file(log_level::debug, "Starting stage: '%s'", name);
    log_to_file(log_level::debug, "%s", std::string(banner_width, '-').c_str());
}

void stage_ok(std::string_view name, std::string_view note) {
    print_result(name, ok_word, note);
}

void stage_failed(std::string_view name, std::string_view note) {
    print_result(name, failed_word, note);
}

void stage_skipped(std::string_view name, std::string_view note) {
    print_result(name, skipped_word, note);
}

bool stage_table::all_passed(stage_set set) const {
    for (std::size_t slot = 0; slot < states.size(); ++slot) {
        if ((set >> slot & 1U) != 0 && !passed(slot)) {
            return false;
        }
    }
    return true;
}

void finish_stage(stage_table& table, std::size_t slot, const char* name, const stage_outcome& outcome,
                  flush_order order, stage_voice voice) {
    const std::string_view shown = outcome.display_name.empty() ? std::string_view(name) : outcome.display_name;
    switch (outcome.verdict) {
        case stage_verdict::failed:
            table.states[slot] = STAGE_FAILED;
            stage_failed(shown, outcome.note);
            break;
        case stage_verdict::passed:
            table.states[slot] = STAGE_PASSED;
            if (voice == stage_voice::normal || !outcome.note.empty()) {
                stage_ok(shown, outcome.note);
            }
            break;
        case stage_verdict::passed_with_warnings:
            table.states[slot] = STAGE_PASSED;
            ++table.warnings;
            stage_ok(shown, outcome.note.empty() ? "WARN" : std::string_view(outcome.note));
            break;
    }
    const bool warned = outcome.verdict == stage_verdict::passed_with_warnings;
    tell(table, {slot, table.states[slot], warned, false, shown, outcome.note});
    flush_messages(log_level::info, "    ", order);
}

void finish_skipped_stage(stage_table& table, std::size_t slot, const char* name, std::string_view note,
                          const skip_reason& reason, flush_order order) {
    if (reason.finding) {
        report_text(*reason.finding, reason.text);
    } else if (reason.text != nullptr) {
        log_at(reason.level, "%s", reason.text);
    }
    table.states[slot] = STAGE_SKIPPED;
    stage_skipped(name, note);
    tell(table, {slot, STAGE_SKIPPED, false, false, name, note});
    flush_messages(log_level::info, "    ", order);
    log_flush();
}

void hide_stage(stage_table& table, std::size_t slot, const char* name, const skip_reason& reason) {
    table.states[slot] = STAGE_PASSED;
    if (reason.text != nullptr) {
        log_to_file(reason.level, "%s", reason.text);
    }
    tell(table, {slot, STAGE_PASSED, false, true, name, ""});
}

int summarize(const stage_table* table) {
    if (table == nullptr) {
        log_to_file(log_level::error, "Could not calculate stages");
        return exit_code(result::internal_failure);
    }
    const stage_counts counts = count_states(*table);
    int code = exit_code(counts.failed > 0 ? result::check_failed : result::success);
    if (counts.unknown > 0) {
        report("stage-state-unknown"_id, "Could not summary validation. Found stage in unknown state.");
        code = exit_code(result::internal_failure);
    } else {
        print_verdict(counts, table->warnings);
    }
    log_at(log_level::brief, "Exiting with return code %d.\n", code);
    log_flush();
    return code;
}

}  // namespace vellum
