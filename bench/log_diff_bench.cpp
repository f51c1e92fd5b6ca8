// Two event logs beside each other: their events, which of them belong together, and what probably happened.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "bench/race.h"
#include "lab/event_log_builder.h"
#include "tpm/event_details/probable_causes.h"

namespace vellum::bench {
namespace {

constexpr const char* reading_name = "reading both logs";
// For any size here: of logs that differ in few places, and of those that an attacker made.
constexpr double most_seconds = 2;
constexpr double most_seconds_ever = 10;
constexpr std::uint32_t ev_action = 5;

using bytes = std::vector<std::uint8_t>;

// All in one PCR, whose events have to be aligned with each other.
bytes log_of(const std::vector<std::string>& texts) {
    lab::event_log log;
    log.spec_id->banks = {{lab::TPM_ALG_SHA256, 32}};
    for (const std::string& text : texts) {
        log.events.push_back(lab::text_event(4, ev_action, text));
    }
    return build(log);
}

std::vector<std::string> numbered(std::size_t count, const std::string& word) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < count; ++i) {
        texts.push_back(word + std::to_string(i));
    }
    return texts;
}

void compare(benchmark::State& state, const bytes& reference, const bytes& live, std::size_t expected, double limit) {
    event_sequence before;
    event_sequence after;
    const auto read = [&] {
        return seconds_of(
            [&] { benchmark::DoNotOptimize(ok(read_events(reference, before)) && ok(read_events(live, after))); });
    };
    std::size_t differences = 0;
    double longest = 0;
    const auto path = [&] {
        const double seconds = read() + seconds_of([&] {
                                   const std::vector<pcr_alignment> pcrs = align_logs(before, after);
                                   benchmark::DoNotOptimize(probable_causes(before, after, pcrs));
                                   const auto& steps = pcrs.back().steps;
                                   differences = static_cast<std::size_t>(std::count_if(
                                       steps.begin(), steps.end(),
                                       [](const alignment_step& step) { return step.kind != step_kind::alike; }));
                               });
        longest = std::max(longest, seconds);
        return seconds;
    };
    race(state, {reading_name}, path, read);
    if (longest > limit) {
        state.SkipWithError("it takes too many seconds");
    } else if (expected != 0 && differences != expected) {
        state.SkipWithError("another number of differences is found");
    }
}

// One event of a hundred is another, so that one is removed there and one added.
void few_changes(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::vector<std::string> before = numbered(count, "event ");
    std::vector<std::string> after = before;
    for (std::size_t i = 0; i < count; i += 100) {
        after[i] += " of another boot";
    }
    compare(state, log_of(before), log_of(after), 2 * (count / 100), most_seconds);
}

void nothing_in_common(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    compare(state, log_of(numbered(count, "event ")), log_of(numbered(count, "other ")), 2 * count,
            most_seconds_ever);
}

// The same few events in two orders that have nothing to do with each other: the longest way there is.
void scrambled(benchmark::State& state) {
    std::mt19937 random(1);
    std::vector<std::string> before = numbered(static_cast<std::size_t>(state.range(0)), "");
    for (std::string& text : before) {
        text = std::to_string(random() % 100);
    }
    std::vector<std::string> after = before;
    std::shuffle(after.begin(), after.end(), random);
    compare(state, log_of(before), log_of(after), 0, most_seconds_ever);
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1'000)->Arg(10'000)->Arg(100'000)->UseManualTime()->MinTime(1);
}

BENCHMARK(few_changes)->Name("event logs, 1 event of 100 differs")->Apply(sizes);
BENCHMARK(nothing_in_common)->Name("event logs, nothing in common")->Apply(sizes);
BENCHMARK(scrambled)->Name("event logs, scrambled")->Apply(sizes);

}  // namespace
}  // namespace vellum::bench
