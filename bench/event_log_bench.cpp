// The event log of a boot: parse with replay, and comparison with a reference log.
#include <algorithm>
#include <string>
#include <vector>

#include "bench/heap_meter.h"
#include "bench/race.h"
#include "lab/event_log_builder.h"
#include "tpm/event_log.h"
#include "tpm/log_comparison.h"
#include "tpm/pcr_list.h"

namespace vellum::bench {
namespace {

constexpr double parse_limit = 1.3;       // of the extends, without a log file
constexpr double logged_parse_limit = 3;  // with the log file at its default level
constexpr double memory_limit = 160;      // bytes an event, beyond the log

constexpr double min_seconds = 2;

constexpr const char* extends_name = "SHA-256 extends";
constexpr const char* writing_name = "writing the log file";

// A thousand events, again and again: building a million one by one would fill the memory that is to be measured.
std::vector<std::uint8_t> make_log(std::size_t count, const std::string& text) {
    constexpr std::size_t block = 1000;
    lab::event_log log;
    log.spec_id->banks = {{lab::TPM_ALG_SHA256, 32}};
    const std::size_t head = build(log).size();
    for (std::size_t i = 0; i < block; ++i) {
        log.events.push_back(lab::text_event(static_cast<std::uint32_t>(i % 8), 5, text + std::to_string(i)));
    }
    std::vector<std::uint8_t> bytes = build(log);
    const std::vector<std::uint8_t> events(bytes.begin() + static_cast<std::ptrdiff_t>(head), bytes.end());
    bytes.reserve(head + count / block * events.size());
    for (std::size_t done = block; done < count; done += block) {
        bytes.insert(bytes.end(), events.begin(), events.end());
    }
    return bytes;
}

// The seconds, and the most memory that was in use beyond the log.
struct parse_cost {
    double seconds = 0;
    std::size_t memory = 0;
};

parse_cost parse_and_replay(const std::vector<std::uint8_t>& log) {
    std::vector<std::uint8_t> copy = log;
    parse_cost cost;
    const std::size_t before = restart_heap_peak();
    std::optional<tpm_events_chains> chains;
    cost.seconds = seconds_of([&] {
        if (ok(parse_tpm_log(std::move(copy), chains))) {
            benchmark::DoNotOptimize(replay_pcrs_from_log(*chains));
        }
    });
    cost.memory = heap_peak() - before;
    return cost;
}

enum class lower_bound { extends, writing };

void parse(benchmark::State& state, log_level file_level, double limit, lower_bound bound) {
    keep_freed_memory();
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::vector<std::uint8_t> log = make_log(count, "event ");
    std::size_t file_size = 0;
    if (file_level != log_level::off) {
        log_session session(file_level);
        parse_and_replay(log);
        file_size = session.file_size();
        benchmark::DoNotOptimize(
            file_writing(file_size));  // the first use of the system's pages is not what is measured
    }
    const log_session session(file_level);
    parse_and_replay(log);
    std::size_t memory = 0;
    const auto path = [&] {
        const parse_cost cost = parse_and_replay(log);
        memory = std::max(memory, cost.memory);
        return cost.seconds;
    };
    if (bound == lower_bound::extends) {
        race(state, {extends_name, limit}, path, [&] { return sha256_extends(count); });
    } else {
        race(state, {writing_name}, path, [&] { return file_writing(file_size); });
    }
    state.counters[memory_counter] = static_cast<double>(memory) / static_cast<double>(count);
    state.counters[memory_limit_counter] = memory_limit;
}

void parse_without_log_file(benchmark::State& state) {
    parse(state, log_level::off, parse_limit, lower_bound::extends);
}

void parse_with_log_file(benchmark::State& state) {
    parse(state, log_level::debug, logged_parse_limit, lower_bound::extends);
}

void parse_against_writing(benchmark::State& state) {
    parse(state, log_level::debug, 0, lower_bound::writing);
}

void compare_equal_logs(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const log_session session(log_level::off);
    std::optional<tpm_events_chains> live;
    std::optional<tpm_events_chains> reference;
    if (!ok(parse_tpm_log(make_log(count, "event "), live)) ||
        !ok(parse_tpm_log(make_log(count, "event "), reference))) {
        state.SkipWithError("the log does not parse");
        return;
    }
    bool differ = false;
    const auto path = [&] {
        return seconds_of([&] { compare_tpm_log_chains(*live, *reference, all_pcrs, differ, differ); });
    };
    race(state, {extends_name}, path, [&] { return sha256_extends(count); });
    if (differ) {
        state.SkipWithError("equal logs differ");
    }
}

// 1 to 1000 times the size; each long enough for several rounds of the largest.
void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1'000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseManualTime()->MinTime(min_seconds);
}

BENCHMARK(parse_without_log_file)->Name("event log, parse and replay")->Apply(sizes);
BENCHMARK(parse_with_log_file)->Name("event log, with the log file")->Apply(sizes);
BENCHMARK(parse_against_writing)->Name("event log, with the log file")->Apply(sizes);
BENCHMARK(compare_equal_logs)->Name("event logs, comparison")->Apply(sizes);

}  // namespace
}  // namespace vellum::bench
