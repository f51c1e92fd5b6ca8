// An event log described for people, event by event.
#include <algorithm>
#include <string>
#include <vector>

#include "bench/heap_meter.h"
#include "bench/race.h"
#include "lab/inspect.h"
#include "lab/sample_boot.h"

namespace vellum::bench {
namespace {

constexpr double limit = 25;          // of the extends: 3 us an event where an extend takes 120 ns
constexpr double memory_limit = 300;  // bytes an event, beyond the log
constexpr double min_seconds = 2;

// The events of a boot again and again. Its first one, which tells how the TPM was started, may stand there alone.
std::vector<std::uint8_t> make_boots(std::size_t count) {
    lab::event_log log = lab::clean_boot();
    std::vector<lab::log_event> events(log.events.begin() + 1, log.events.end());
    log.events.resize(1);
    std::vector<std::uint8_t> bytes = build(log);
    std::vector<std::uint8_t> boot;
    for (const lab::log_event& event : events) {
        const std::vector<std::uint8_t> record = build(event, log.spec_id->banks);
        boot.insert(boot.end(), record.begin(), record.end());
    }
    const std::size_t boots = count / events.size();
    bytes.reserve(bytes.size() + boots * boot.size());
    for (std::size_t i = 0; i < boots; ++i) {
        bytes.insert(bytes.end(), boot.begin(), boot.end());
    }
    return bytes;
}

void inspect_log(benchmark::State& state) {
    keep_freed_memory();
    const auto count = static_cast<std::size_t>(state.range(0));
    const test::temp_dir directory;
    lab::inspect_request request;
    request.kind = lab::inspect_kind::event_log;
    std::size_t log_size = 0;
    {
        const std::vector<std::uint8_t> log = make_boots(count);
        log_size = log.size();
        request.path = directory.write("log", log);
    }
    native_platform machine;
    std::size_t written = 0;
    const lab::text_sink sink = [&written](std::string_view text) {
        written += text.size();
        return true;
    };
    bool good = true;
    std::size_t memory = 0;
    const auto path = [&] {
        const std::size_t before = restart_heap_peak();
        const double seconds = seconds_of([&] {
            good = lab::inspect(request, machine.services(), {sink, sink, {}}) == lab::inspect_outcome::good && good;
        });
        memory = std::max(memory, heap_peak() - before - log_size);
        return seconds;
    };
    path();
    race(state, {"SHA-256 extends", limit}, path, [&] { return sha256_extends(count); });
    state.counters[memory_counter] = static_cast<double>(memory) / static_cast<double>(count);
    state.counters[memory_limit_counter] = memory_limit;
    if (!good || written == 0) {
        state.SkipWithError("the log is not described");
    }
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1'000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseManualTime()->MinTime(min_seconds);
}

BENCHMARK(inspect_log)->Name("event log, described")->Apply(sizes);

}  // namespace
}  // namespace vellum::bench
