#include "core/stage.h"

#include <gtest/gtest.h>

#include "core/findings.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

struct state {
    stage_table table;
    stage_outcome outcome;
    bool skip = false;
    bool hide = false;
};

stage_outcome check(state& run) {
    report("test-cause"_id, "cause");
    report("test-effect"_id, "effect");
    return run.outcome;
}

skip_verdict skipped(const state& run) {
    return run.skip ? skip_verdict({"reason", "test-reason"_id, log_level::off}) : std::nullopt;
}

constexpr stage_row<state> row = {
    .slot = 3,
    .id = "seal-intact",
    .name = "Seal is intact",
    .skipped = nullptr,
    .check = check,
    .hidden = [](const state& run) { return skip_if(run.hide); },
};

const std::string label = "Seal is intact: " + std::string(64, ' ');

TEST(Stage, PrintsWordAndNoteInColourAndTheFindingsUnderIt) {
    struct {
        stage_outcome outcome;
        const char* word;
        stage_state recorded;
        int warnings;
    } const rows[] = {
        {{stage_verdict::passed, "", ""}, "<green>OK</>\n", STAGE_PASSED, 0},
        {{stage_verdict::passed, "Not Requested", ""}, "<green>OK</> <yellow>(Not Requested)\n</>", STAGE_PASSED, 0},
        {{stage_verdict::passed_with_warnings, "", ""}, "<green>OK</> <yellow>(WARN)\n</>", STAGE_PASSED, 1},
        {{stage_verdict::failed, "", ""}, "<red>FAILED</>\n", STAGE_FAILED, 0},
        {{stage_verdict::failed, "from file", ""}, "<red>FAILED</> (from file)\n", STAGE_FAILED, 0},
    };
    for (const auto& expected : rows) {
        test::log_session session;
        session.console.show_colours = true;
        state run;
        run.outcome = expected.outcome;
        run_stage(row, run, run.table);
        EXPECT_EQ(session.logged(), label + expected.word + "    effect\n    cause\n");
        EXPECT_EQ(run.table.states[3], expected.recorded);
        EXPECT_EQ(run.table.warnings, expected.warnings);
        run.table.states[3] = STAGE_NOT_STARTED;
        finish_stage(run.table, 3, row.name, run.outcome, row.order);
        EXPECT_EQ(run.table.states[3], expected.recorded) << "recorded by the end of the check itself";
    }
}

TEST(Stage, SkippedShowsTheReasonAndNeverRunsItsCheck) {
    test::log_session session;
    state run;
    run.skip = true;
    stage_row<state> skippable = row;
    skippable.skipped = skipped;
    skippable.check = nullptr;
    skippable.skip_note = [](const state&) { return std::string("from file"); };
    run_stage(skippable, run, run.table);
    EXPECT_EQ(session.logged(), label + "SKIPPED (from file)\n    reason\n");
    EXPECT_EQ(run.table.states[3], STAGE_SKIPPED);
}

TEST(Stage, HiddenIsRecordedAsPassedAndPrintsNothing) {
    test::log_session session;
    state run;
    run.hide = true;
    run_stage(row, run, run.table);
    EXPECT_EQ(session.logged(), "");
    EXPECT_EQ(run.table.states[3], STAGE_PASSED);
}

TEST(Stage, DisplayNameOrderAndAfterAreTheRowsOwn) {
    test::log_session session;
    state run;
    run.outcome = {stage_verdict::passed, "", std::string(90, 'n')};
    stage_row<state> own = row;
    own.order = flush_order::oldest_first;
    own.after = [](const state&, const stage_outcome&) { log_at(log_level::info, "after"); };
    run_stage(own, run, run.table);
    EXPECT_EQ(session.logged(), std::string(90, 'n') + ": OK\n    cause\n    effect\nafter\n");
}

stage_table table_of(int passed, int failed, int skipped, int not_applicable, std::uint8_t warnings = 0) {
    stage_table table;
    std::size_t slot = 0;
    const auto put = [&](int count, stage_state value) {
        for (; count > 0; --count) {
            table.states[slot++] = value;
        }
    };
    put(passed, STAGE_PASSED);
    put(failed, STAGE_FAILED);
    put(skipped, STAGE_SKIPPED);
    put(not_applicable, STAGE_NOT_APPLICABLE);
    table.warnings = warnings;
    return table;
}

TEST(Summary, ChoosesVerdictCountsAndExitCode) {
    struct {
        stage_table table;
        int code;
        const char* text;
    } const rows[] = {
        {table_of(0, 0, 27, 0), 0, "Validation SKIPPED, some tests were skipped (passed: 0, failed: 0, skipped: 27)"},
        {table_of(2, 0, 0, 25), 0, "Validation PASSED (passed: 2, failed: 0, skipped: 0)"},
        {table_of(24, 0, 3, 0, 1), 0,
         "Validation PASSED, some tests were skipped (passed: 24(1 with warnings), failed: 0, skipped: 3)"},
        {table_of(26, 1, 0, 0), 5, "Validation FAILED (passed: 26, failed: 1, skipped: 0)"},
        {table_of(20, 0, 0, 0), 0, "Validation FAILED (passed: 20, failed: 0, skipped: 0, not started: 7)"},
    };
    for (const auto& expected : rows) {
        test::log_session session(log_level::brief);
        EXPECT_EQ(summarize(&expected.table), expected.code);
        EXPECT_EQ(session.logged(),
                  std::string(expected.text) + "\nExiting with return code " + std::to_string(expected.code) + ".\n");
    }
}

TEST(Summary, ColoursWhatThereIsToCount) {
    test::log_session session(log_level::brief);
    session.console.show_colours = true;
    const stage_table table = table_of(1, 1, 1, 0, 1);
    EXPECT_EQ(summarize(&table), 5);
    EXPECT_EQ(session.logged(),
              "<red>Validation FAILED</>, some tests were skipped (<green>passed: </>1(1 <yellow>with warnings</>), "
              "<red>failed: </>1, <grey>skipped: </>1, <red>not started: 24</>)\nExiting with return code 5.\n");
}

TEST(Summary, RefusesAnUnknownStateAndAMissingTable) {
    test::log_session session;
    stage_table table = table_of(27, 0, 0, 0);
    table.states[26] = static_cast<stage_state>(5);
    EXPECT_EQ(summarize(&table), 1);
    EXPECT_EQ(session.logged(), "Exiting with return code 1.\n");
    EXPECT_EQ(session.pushed(), "Could not summary validation. Found stage in unknown state.\n");
    EXPECT_EQ(summarize(nullptr), 1);
    EXPECT_EQ(session.logged(), "");
}

}  // namespace
}  // namespace vellum
