// The hex dump of a large buffer, in bytes a second.
#include <benchmark/benchmark.h>

#include <vector>

#include "core/text.h"

namespace vellum {
namespace {

void hex_dump_buffer(benchmark::State& state) {
    const std::vector<std::uint8_t> data(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto _ : state) {
        hex_dump(data, 32, 0, [](std::string_view line) { benchmark::DoNotOptimize(line.data()); });
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(hex_dump_buffer)->Arg(1 << 10)->Arg(1 << 20);

}  // namespace
}  // namespace vellum
