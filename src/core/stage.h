// The stage engine: one runner that owns the pattern every stage follows, the table of stage states, and the
// summary that turns the table into verdict and exit code.
//
// A stage is a row of data (stage_row). Its check is a plain function over the run's state that returns its
// outcome and raises its findings (core/findings.h); the runner prints every result line.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/findings.h"
#include "core/log.h"

namespace vellum {

enum stage_state : std::uint32_t {
    STAGE_NOT_STARTED = 0,
    STAGE_FAILED = 1,  // also while a stage runs, so that one that is left early counts as failed
    STAGE_SKIPPED = 2,
    STAGE_PASSED = 3,  // with or without warnings; also a stage that is hidden because its input was not given
    STAGE_NOT_APPLICABLE = 4,
};

inline constexpr std::size_t stage_count = 27;

// A set of stages, bit i for slot i.
using stage_set = std::uint32_t;

template <typename... Slots>
constexpr stage_set slots(Slots... members) {
    return ((stage_set{1} << members) | ... | stage_set{0});
}

// How a stage ended. The views live as long as the call that tells of it.
struct ended_stage {
    std::size_t slot = 0;
    stage_state state = STAGE_NOT_STARTED;
    bool warned = false;
    bool hidden = false;    // nothing is printed of it, as its input was not given
    std::string_view name;  // as it is displayed
    std::string_view note;
};

// Watches the stages of a run. What it is told changes nothing of the run.
class stage_observer {
  public:
    virtual ~stage_observer() = default;
    virtual void stage_started(std::size_t slot) = 0;

    // Its findings are still kept (kept_findings()).
    virtual void stage_ended(const ended_stage& stage) = 0;
};

struct stage_table {
    std::array<stage_state, stage_count> states{};
    std::uint8_t warnings = 0;           // stages that passed with warnings
    stage_observer* observer = nullptr;  // may be absent

    bool passed(std::size_t slot) const { return states[slot] == STAGE_PASSED; }
    bool all_passed(stage_set set) const;
};

enum class stage_verdict { failed, passed, passed_with_warnings };

// What a check found out. An empty note prints none; an empty display name means the row's name.
struct stage_outcome {
    stage_verdict verdict = stage_verdict::failed;
    std::string note;
    std::string display_name;
};

inline stage_outcome failed(std::string note = {}) {
    return {stage_verdict::failed, std::move(note), ""};
}

inline stage_outcome passed(std::string note = {}) {
    return {stage_verdict::passed, std::move(note), ""};
}

// Without a note of its own it prints "WARN".
inline stage_outcome passed_with_warnings(std::string note = {}) {
    return {stage_verdict::passed_with_warnings, std::move(note), ""};
}

inline stage_outcome pass_if(bool condition) {
    return condition ? passed() : failed();
}

inline stage_outcome pass_or_warn(bool warned) {
    return warned ? passed_with_warnings() : passed();
}

// How much a stage says of itself. A quiet one has no banner, and no result line when it passes without a note.
enum class stage_voice { normal, quiet };

// Why a stage is skipped beyond the stages it needs, and how that is told: not at all, as a finding under the result
// line, or as a line of the log.
struct skip_reason {
    const char* text = nullptr;
    std::optional<finding_id> finding;
    log_level level = log_level::off;
};

// The outcome of a skip rule; nothing: the stage runs.
using skip_verdict = std::optional<skip_reason>;

inline skip_verdict skip_if(bool condition) {
    return condition ? skip_verdict(skip_reason()) : std::nullopt;
}

// One stage over a run's state. Functions that a stage does not need are null.
template <typename State>
struct stage_row {
    std::size_t slot;
    const char* id;  // the same for ever, lower-case words joined by hyphens; for programs, never printed
    const char* name;
    stage_set needs = 0;                              // skipped unless all of these have passed
    void (*before)(const State&) = nullptr;           // runs when they have, before the rule is asked
    skip_verdict (*skipped)(const State&) = nullptr;  // says nothing itself
    stage_set uses = 0;  // further ones, without which the rule skips it or the check fails
    stage_outcome (*check)(State&);
    flush_order order = flush_order::newest_first;
    stage_voice voice = stage_voice::normal;
    skip_verdict (*hidden)(const State&) =
        nullptr;  // recorded as passed, its reason in the log file, nothing printed
    std::string (*skip_note)(const State&) = nullptr;
    void (*after)(const State&,
                  const stage_outcome&) = nullptr;  // runs after the deferred messages, not when skipped
};

// What a table of stages promises, for static_assert.
template <typename Rows>
constexpr bool every_slot_stands_once(const Rows& rows) {
    stage_set seen = 0;
    for (const auto& row : rows) {
        if (row.slot >= stage_count || (seen >> row.slot & 1U) != 0) {
            return false;
        }
        seen |= slots(row.slot);
    }
    return std::size(rows) == stage_count;
}

template <typename Rows>
constexpr bool every_id_is_its_own(const Rows& rows) {
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (std::string_view(rows[i].id) == rows[j].id) {
                return false;
            }
        }
    }
    return true;
}

template <typename Rows>
constexpr bool needs_earlier_rows_only(const Rows& rows) {
    stage_set earlier = 0;
    for (const auto& row : rows) {
        if (((row.needs | row.uses) & ~earlier) != 0) {
            return false;
        }
        earlier |= slots(row.slot);
    }
    return true;
}

// Three lines in the log file at debug: a rule, "Starting stage: 'NAME'", a rule.
void stage_begin(const char* name);

// The result line under its label, with the note in parentheses when there is one.
void stage_ok(std::string_view name, std::string_view note = {});
void stage_failed(std::string_view name, std::string_view note = {});
void stage_skipped(std::string_view name, std::string_view note = {});

// Prints the result line of a finished check, records state and warning, and flushes the deferred messages.
void finish_stage(stage_table& table, std::size_t slot, const char* name, const stage_outcome& outcome,
                  flush_order order, stage_voice voice = stage_voice::normal);

// Says why, prints the result line and records the state.
void finish_skipped_stage(stage_table& table, std::size_t slot, const char* name, std::string_view note,
                          const skip_reason& reason, flush_order order);
void hide_stage(stage_table& table, std::size_t slot, const char* name, const skip_reason& reason);

template <typename State>
skip_verdict reason_to_skip(const stage_row<State>& row, const State& state, const stage_table& table) {
    if (!table.all_passed(row.needs)) {
        return skip_reason();
    }
    if (row.before != nullptr) {
        row.before(state);
    }
    return row.skipped != nullptr ? row.skipped(state) : std::nullopt;
}

// Runs one stage; `table` is the state's own table.
template <typename State>
void run_stage(const stage_row<State>& row, State& state, stage_table& table) {
    if (table.observer != nullptr) {
        table.observer->stage_started(row.slot);
    }
    if (const skip_verdict hidden = row.hidden != nullptr ? row.hidden(state) : std::nullopt) {
        hide_stage(table, row.slot, row.name, *hidden);
        return;
    }
    table.states[row.slot] = STAGE_FAILED;
    if (row.voice == stage_voice::normal) {
        stage_begin(row.name);
    }
    const skip_verdict skipped = reason_to_skip(row, state, table);
    if (skipped) {
        finish_skipped_stage(table, row.slot, row.name, row.skip_note != nullptr ? row.skip_note(state) : "",
                             *skipped, row.order);
        return;
    }
    const stage_outcome outcome = row.check(state);
    finish_stage(table, row.slot, row.name, outcome, row.order, row.voice);
    if (row.after != nullptr) {
        row.after(state, outcome);
    }
    log_flush();
}

// Prints verdict, counts and "Exiting with return code %d."; returns the exit code: 5 when a stage failed, 1 when
// the table is null or holds an unknown state, else 0.
int summarize(const stage_table* table);

}  // namespace vellum
