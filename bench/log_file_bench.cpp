// What is written in bulk to the log file.
#include <vector>

#include "bench/race.h"
#include "core/dump.h"

namespace vellum::bench {
namespace {

void dump(benchmark::State& state) {
    const std::vector<std::uint8_t> data(static_cast<std::size_t>(state.range(0)), 0x5A);
    log_session session(log_level::trace);
    const auto path = [&] {
        return seconds_of([&] {
            dump_at_level(log_level::trace, data);
            log_flush();
        });
    };
    benchmark::DoNotOptimize(path());
    const std::size_t written = session.file_size();
    benchmark::DoNotOptimize(file_writing(written));
    race(state, {"writing the log file"}, path, [&] { return file_writing(written); });
}
BENCHMARK(dump)
    ->Name("hex dump into the log file")
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->UseManualTime();

}  // namespace
}  // namespace vellum::bench
