// Parse and validation, required and strict, of the largest PMF. Each run also times what cannot be avoided, one
// SHA-384 over the file, and reports the ratio.
#include <benchmark/benchmark.h>

#include <chrono>
#include <optional>
#include <vector>

#include "core/log.h"
#include "lab/pmf_builder.h"
#include "native.h"
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

using steady = std::chrono::steady_clock;

constexpr std::size_t largest_pmf = 4 + 4 * 2000;  // marker, and as many dwords as a header may claim
constexpr double allowed_ratio = 20;

double seconds_since(steady::time_point start) {
    return std::chrono::duration<double>(steady::now() - start).count();
}

// Partitions, the costliest entries, as many as fit; a certificate's worth of bytes fills the rest.
std::vector<std::uint8_t> make_pmf() {
    lab::pmf file;
    const PMF::PartitionEntry entry = file.disk.entries.back();
    while (build(file).size() + 272 <= largest_pmf) {
        file.disk.entries.push_back(entry);
    }
    file.certificate.content.resize(largest_pmf - build(file).size());
    return build(file);
}

bool parse_and_validate(const std::vector<std::uint8_t>& bytes) {
    std::optional<PmfDocument> document;
    pmf_pcr_set pcrs;
    PMF::PCRMetadataFileExtension extension;
    return ok(parse_pmf(bytes, document)) && ok(run_strict_rules(*document)) && ok(read_pmf_pcrs(*document, pcrs)) &&
           ok(get_pmf_extension(*document, extension)) && ok(check_pmf_pcr_set(extension));
}

void pmf_parse_and_validate(benchmark::State& state) {
    native_platform machine;
    platform services = machine.services();
    log_start(services.console, services.clock, services.errors);
    const std::vector<std::uint8_t> bytes = make_pmf();
    sha384_value digest{};
    double hashing = 0;
    double parsing = 0;
    bool valid = ok(pmf_digest(bytes, digest));
    for (auto _ : state) {
        auto start = steady::now();
        valid = valid && ok(pmf_digest(bytes, digest));
        hashing += seconds_since(start);
        start = steady::now();
        valid = valid && parse_and_validate(bytes);
        const double seconds = seconds_since(start);
        state.SetIterationTime(seconds);
        parsing += seconds;
    }
    log_stop();
    state.counters["bytes"] = static_cast<double>(bytes.size());
    state.counters["sha384_ratio"] = parsing / hashing;
    if (!valid || bytes.size() != largest_pmf) {
        state.SkipWithError("the PMF does not parse");
    } else if (parsing >= allowed_ratio * hashing) {
        state.SkipWithError("parse and validation take too long");
    }
}
BENCHMARK(pmf_parse_and_validate)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vellum
